// SPDX-License-Identifier: BSD-3-Clause

#include "WdbIndexedWriter.h"

#include "EventFile.h"
#include "EventTracing.h"
#include "QsimException.h"
#include "VectorMerge.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbMultipleBucketBtreeDatabase.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <limits>
#include <stdexcept>

namespace Tracewell {

WdbIndexedWriter* WdbIndexedWriter::s_pWriter = nullptr;

WdbIndexedWriter::WdbIndexedWriter()
    : m_file(std::make_unique<EventFile>()), m_scratch(std::make_unique<VectorScratch>())
{
    EventTracing<WdbIndexedWriter>::enter(*this);
}

WdbIndexedWriter::~WdbIndexedWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    EventTracing<WdbIndexedWriter>::leave(*this);
}

void WdbIndexedWriter::open(WriterMode, const std::string& snapshot, const std::string& wdbFile,
                            int)
{
    close();
    try {
        m_file->open(wdbFile, [&] { create(snapshot); });
    } catch (...) {
        close();
        throw;
    }
}

void WdbIndexedWriter::create(const std::string& snapshot)
{
    constexpr int kTypeId = WdbEventBlockDatabaseFactory::kMultipleBucketBtree;
    constexpr unsigned int kDivision = WdbMultipleBucketBtreeDatabase::kBucketDivision;

    const auto addressSize = static_cast<unsigned long long>(std::max(m_addressSize, 0LL));
    if (addressSize / kDivision >= std::numeric_limits<int>::max()) {
        throw Qsim::OpenException("QSim", __FILE__, "", __LINE__,
                                  "The address size needs too many buckets for an index by time.");
    }

    m_file->create(snapshot, true);

    auto database = std::make_unique<WdbMultipleBucketBtreeDatabase>(kTypeId, m_file->getManager());
    database->initialize(
        WdbIEventBlockDatabase::createEventSection(
            kTypeId, WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, kDivision),
            addressSize, kDivision, m_file->getManager()),
        true);
    m_file->createTexts();
    m_eventDatabase = std::move(database);
    m_counted.clear();
    m_isRefusalTold = false;
}

long long WdbIndexedWriter::addString(const std::string& text)
{
    return m_file->addString(text);
}

void WdbIndexedWriter::close()
{
    const bool wasOpen = m_eventDatabase != nullptr;
    m_file->closeTexts();
    m_eventDatabase.reset();
    m_file->close(wasOpen);
}

void WdbIndexedWriter::restart() {}

void WdbIndexedWriter::setMaxTraceableSize(unsigned int) {}

void WdbIndexedWriter::markCurrentTime(long long time)
{
    if (!m_eventDatabase) {
        return;
    }
    m_eventDatabase->setLatestTime(time);
    if (m_file->isBroken()) {
        close();
    }
}

void WdbIndexedWriter::setApplication(const std::string& application)
{
    m_file->getManager().setApplication(application);
}

void WdbIndexedWriter::setBucketDivision(unsigned int) {}

void WdbIndexedWriter::setFilterRepeatedValue(bool) {}

void WdbIndexedWriter::setCounters(long long begin, long long end)
{
    m_countersBegin = begin;
    m_countersEnd = end;
}

void WdbIndexedWriter::sync()
{
    if (!m_eventDatabase) {
        return;
    }
    // The texts first: an event that is in the file finds the text that it names.
    m_file->getTexts()->flush();
    m_eventDatabase->sync();
    if (m_file->isBroken()) {
        return close();
    }
    m_file->markWholeBefore(m_eventDatabase->getLatestTime());
}

/// Null when the writer that trace functions go to is closed, or there is none.
inline WdbIndexedWriter* WdbIndexedWriter::getOpenWriter()
{
    WdbIndexedWriter* const writer = s_pWriter;
    return writer && writer->m_eventDatabase ? writer : nullptr;
}

inline void WdbIndexedWriter::writeEvent(long long time, long long address, unsigned int length,
                                         const unsigned char* value)
{
    if (address >= m_countersBegin && address < m_countersEnd) {
        makeRoomForCounter(time, address);
    }
    try {
        m_eventDatabase->writeEvent(time, address, length, value);
    } catch (const std::out_of_range&) {
        tellRefusal(address);
    }
}

void WdbIndexedWriter::makeRoomForCounter(long long time, long long address)
{
    constexpr unsigned int kMostInBlock = 255;
    Counted& counted = m_counted[address];
    if (counted.time != time) {
        counted = {time, 0};
    } else if (counted.changes == kMostInBlock) {
        counted.changes = 0;
        if (WdbEventBtree* const tree = m_eventDatabase->findTree(address)) {
            tree->filterAndSaveBlock();
        }
    }
    ++counted.changes;
}

void WdbIndexedWriter::tellRefusal(long long address)
{
    if (m_isRefusalTold) {
        return;
    }
    m_isRefusalTold = true;
    std::cerr << "tracewell: " + m_file->getName() + ": a change at address " +
                     std::to_string(address) + " is left out, since it does not lie within the " +
                     std::to_string(m_eventDatabase->getEventDatabaseHeader().m_addressSize) +
                     " bytes of data memory that were announced: tell the writer of all of them "
                     "before it opens; others like it are left out without a word\n"
              << std::flush;
}

void WdbIndexedWriter::writeVector(long long time, long long address, const unsigned char* vector,
                                   const unsigned char* value, unsigned int firstBit,
                                   unsigned int endBit)
{
    m_scratch->pass(address, vector, value, firstBit, endBit,
                    [&](long long place, unsigned int size, const unsigned char* bytes) {
                        writeEvent(time, place, size, bytes);
                    });
}

inline void WdbIndexedWriter::finishScObject(long long time)
{
    // No virtual call.
    WdbIndexedWriter::markCurrentTime(time);
}

IWdbWriter::TraceVhdlFunc WdbIndexedWriter::getTraceVhdlFunc()
{
    return &EventTracing<WdbIndexedWriter>::traceVhdl;
}

IWdbWriter::TraceVhdlFuncScalar WdbIndexedWriter::getTraceVhdlFuncScalar()
{
    return &EventTracing<WdbIndexedWriter>::traceVhdlScalar;
}

IWdbWriter::TraceVlogFunc WdbIndexedWriter::getTraceVlogFunc()
{
    return &EventTracing<WdbIndexedWriter>::traceVlog;
}

IWdbWriter::TraceScObjectFunc WdbIndexedWriter::getTraceScObjectFunc()
{
    return &EventTracing<WdbIndexedWriter>::traceScObject;
}

IWdbWriter::TraceScVirtualObjectFunc WdbIndexedWriter::getTraceScVirtualObjectFunc()
{
    return &EventTracing<WdbIndexedWriter>::traceScVirtualObject;
}

} // namespace Tracewell
