// SPDX-License-Identifier: BSD-3-Clause

#include "WdbColumnWriter.h"

#include "ColumnStore.h"
#include "EventFile.h"
#include "EventTracing.h"
#include "FieldTable.h"
#include "QsimException.h"
#include "VectorMerge.h"

#include <cstring>
#include <iostream>

namespace Tracewell {

namespace {

/// The bytes as a number, without a detour through memory that a store would have to reach first.
inline std::uint64_t load(const unsigned char* bytes, unsigned int size)
{
    std::uint64_t value = 0;
    switch (size) {
    case 1:
        return *bytes;
    case 2: {
        std::uint16_t half = 0;
        std::memcpy(&half, bytes, sizeof half);
        return half;
    }
    case 4: {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }
    case 8:
        std::memcpy(&value, bytes, 8);
        return value;
    default:
        std::memcpy(&value, bytes, size);
        return value;
    }
}

} // namespace

WdbColumnWriter* WdbColumnWriter::s_pWriter = nullptr;

WdbColumnWriter::WdbColumnWriter()
    : m_file(std::make_unique<EventFile>()), m_scratch(std::make_unique<VectorScratch>())
{
    EventTracing<WdbColumnWriter>::enter(*this);
}

WdbColumnWriter::~WdbColumnWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    EventTracing<WdbColumnWriter>::leave(*this);
}

void WdbColumnWriter::open(WriterMode, const std::string& snapshot, const std::string& wdbFile, int)
{
    close();
    try {
        m_file->open(wdbFile, [&] { create(snapshot); });
    } catch (...) {
        close();
        throw;
    }
}

void WdbColumnWriter::create(const std::string& snapshot)
{
    // What is whole the columns tell themselves.
    m_file->create(snapshot, false);
    m_table = std::make_unique<FieldTable>();
    m_table->declare(m_fields);
    auto store = std::make_unique<ColumnStore>(m_file->getManager(), m_table->fields(),
                                               [this] { m_file->getTexts()->flush(); });
    m_file->createTexts();
    m_store = std::move(store);
    m_isRefusalTold = false;
}

long long WdbColumnWriter::addString(const std::string& text)
{
    return m_file->addString(text);
}

void WdbColumnWriter::close()
{
    const bool wasOpen = m_store != nullptr;
    // The texts first: a change that is in the file finds the text that it names.
    m_file->closeTexts();
    if (m_store && !m_file->isBroken()) {
        m_store->close();
    }
    m_store.reset();
    m_table.reset();
    m_file->close(wasOpen);
}

void WdbColumnWriter::markCurrentTime(long long time)
{
    if (!m_store) {
        return;
    }
    m_store->setLatestTime(time);
    if (m_file->isBroken()) {
        close();
    }
}

void WdbColumnWriter::setApplication(const std::string& application)
{
    m_file->getManager().setApplication(application);
}

void WdbColumnWriter::sync()
{
    if (!m_store) {
        return;
    }
    m_store->sync();
    if (m_file->isBroken()) {
        close();
    }
}

/// Null when the writer that trace functions go to is closed, or there is none.
inline WdbColumnWriter* WdbColumnWriter::getOpenWriter()
{
    WdbColumnWriter* const writer = s_pWriter;
    return writer && writer->m_store ? writer : nullptr;
}

inline void WdbColumnWriter::writeEvent(long long time, long long address, unsigned int length,
                                        const unsigned char* value)
{
    if (address < 0 || address > kAddressEnd - static_cast<long long>(length)) {
        return tellRefusal(address);
    }
    while (length > 0) {
        // From a field's first byte on, as nearly all changes are.
        const unsigned int most = std::min(length, kFieldBytes);
        const FieldTable::Entry entry = m_table->at(address);
        if (entry && most <= entry.size()) {
            std::uint64_t now = load(value, most);
            // What a later change of a part leaves alone.
            if (entry.size() > 1) {
                std::uint64_t& held = m_table->value(entry.id());
                if (most < entry.size()) {
                    now |= held >> (8 * most) << (8 * most);
                }
                held = now;
            }
            m_store->append(time, entry.id(), now);
            address += most;
            value += most;
            length -= most;
            continue;
        }
        const unsigned int taken = writePart(time, address, length, value);
        address += taken;
        value += taken;
        length -= taken;
    }
}

/// What one field takes of the bytes; the others of the field stay as they are.
unsigned int WdbColumnWriter::writePart(long long time, long long address, unsigned int length,
                                        const unsigned char* value)
{
    const std::uint32_t known = m_table->fields().count();
    const FieldTable::Part part = m_table->findOrAdd(address, length);
    if (!part.field) {
        tellRefusal(address);
        return length;
    }
    if (m_table->fields().count() != known) {
        m_store->addField(m_table->fields().at(known));
    }
    std::uint64_t& now = m_table->value(part.field.id());
    std::memcpy(reinterpret_cast<unsigned char*>(&now) + part.offset, value, part.length);
    m_store->append(time, part.field.id(), now);
    return part.length;
}

void WdbColumnWriter::tellRefusal(long long address)
{
    if (m_isRefusalTold) {
        return;
    }
    m_isRefusalTold = true;
    std::cerr << "tracewell: " + m_file->getName() + ": a change at address " +
                     std::to_string(address) +
                     " is left out, since a recording in columns has room for addresses from 0 to "
                     "4294967295; others like it are left out without a word\n"
              << std::flush;
}

void WdbColumnWriter::writeVector(long long time, long long address, const unsigned char* vector,
                                  const unsigned char* value, unsigned int firstBit,
                                  unsigned int endBit)
{
    m_scratch->pass(address, vector, value, firstBit, endBit,
                    [&](long long place, unsigned int size, const unsigned char* bytes) {
                        writeEvent(time, place, size, bytes);
                    });
}

inline void WdbColumnWriter::finishScObject(long long time)
{
    // No virtual call.
    WdbColumnWriter::markCurrentTime(time);
}

IWdbWriter::TraceVhdlFunc WdbColumnWriter::getTraceVhdlFunc()
{
    return &EventTracing<WdbColumnWriter>::traceVhdl;
}

IWdbWriter::TraceVhdlFuncScalar WdbColumnWriter::getTraceVhdlFuncScalar()
{
    return &EventTracing<WdbColumnWriter>::traceVhdlScalar;
}

IWdbWriter::TraceVlogFunc WdbColumnWriter::getTraceVlogFunc()
{
    return &EventTracing<WdbColumnWriter>::traceVlog;
}

IWdbWriter::TraceScObjectFunc WdbColumnWriter::getTraceScObjectFunc()
{
    return &EventTracing<WdbColumnWriter>::traceScObject;
}

IWdbWriter::TraceScVirtualObjectFunc WdbColumnWriter::getTraceScVirtualObjectFunc()
{
    return &EventTracing<WdbColumnWriter>::traceScVirtualObject;
}

} // namespace Tracewell
