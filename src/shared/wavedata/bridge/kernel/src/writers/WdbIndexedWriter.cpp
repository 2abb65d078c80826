// SPDX-License-Identifier: BSD-3-Clause

#include "WdbIndexedWriter.h"

#include "FatalError.h"
#include "OutputFileNames.h"
#include "QsimException.h"
#include "SnapshotSections.h"
#include "VectorMerge.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbMultipleBucketBtreeDatabase.h"
#include "WdbStringMapDatabase.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <limits>
#include <stdexcept>

namespace Tracewell {

namespace {

constexpr int kStringMapTypeId = 101;
/// A scratch buffer beyond this is given back, so that one huge vector does not pin memory.
constexpr std::size_t kMostScratchKept = 800;

} // namespace

WdbIndexedWriter* WdbIndexedWriter::s_pWriter = nullptr;

WdbIndexedWriter::WdbIndexedWriter() : m_previousWriter(s_pWriter)
{
    s_pWriter = this;
}

WdbIndexedWriter::~WdbIndexedWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    WdbIndexedWriter** link = &s_pWriter;
    while (*link != this)
        link = &(*link)->m_previousWriter;
    *link = m_previousWriter;
}

void WdbIndexedWriter::open(WriterMode, const std::string& snapshot, const std::string& wdbFile,
                            int)
{
    close();
    m_fileName = wdbFile.empty() ? ZSIM::OutputFileNames::getWdbFileName() : wdbFile;
    try {
        try {
            create(snapshot, m_fileName);
        } catch (const Qsim::OpenException&) {
            // What was read back from a storage that broke is no damage of the file's.
            if (!m_fileManager.isOpen() || !isBroken())
                throw;
        }
        if (isBroken())
            throw Qsim::OpenException(
                "QSim", __FILE__, "", __LINE__,
                "The simulation database file could be created, but not written.");
    } catch (...) {
        close();
        throw;
    }
}

void WdbIndexedWriter::create(const std::string& snapshot, const std::string& fileName)
{
    constexpr int kTypeId = WdbEventBlockDatabaseFactory::kMultipleBucketBtree;
    constexpr unsigned int kDivision = WdbMultipleBucketBtreeDatabase::kBucketDivision;

    const auto addressSize = static_cast<unsigned long long>(std::max(m_addressSize, 0LL));
    if (addressSize / kDivision >= std::numeric_limits<int>::max())
        throw Qsim::OpenException("QSim", __FILE__, "", __LINE__,
                                  "The address size needs too many buckets for an index by time.");

    m_fileManager.create(fileName);
    // Before anything can be read, so that no file is without what tells how much of it is whole.
    m_mark.create(m_fileManager);
    embedSnapshot(m_fileManager, snapshot);

    auto database = std::make_unique<WdbMultipleBucketBtreeDatabase>(kTypeId, m_fileManager);
    database->initialize(
        WdbIEventBlockDatabase::createEventSection(
            kTypeId, WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, kDivision),
            addressSize, kDivision, m_fileManager),
        true);
    auto stringMap = std::make_unique<WdbStringMapDatabase>(m_fileManager);
    stringMap->initialize(
        WdbStringMapDatabase::createStringMapSection(kStringMapTypeId, m_fileManager, true), true);
    m_eventDatabase = std::move(database);
    m_stringMap = std::move(stringMap);
    m_counted.clear();
    m_isRefusalTold = false;
}

long long WdbIndexedWriter::addString(const std::string& text)
{
    return m_stringMap ? m_stringMap->addString(text) : -1;
}

void WdbIndexedWriter::close()
{
    const bool wasOpen = m_eventDatabase != nullptr;
    m_stringMap.reset();
    m_eventDatabase.reset();
    if (wasOpen && !isBroken())
        m_mark.set(m_fileManager, WdbWholeMark::kClosed);
    m_fileManager.close();
    if (wasOpen && isBroken())
        tellFailureHandler("Tracing to " + m_fileName +
                           " has stopped. The file is not closed; it holds what had reached it.");
}

void WdbIndexedWriter::restart() {}

void WdbIndexedWriter::setMaxTraceableSize(unsigned int) {}

void WdbIndexedWriter::markCurrentTime(long long time)
{
    if (!m_eventDatabase)
        return;
    m_eventDatabase->setLatestTime(time);
    if (isBroken())
        close();
}

void WdbIndexedWriter::setApplication(const std::string& application)
{
    m_fileManager.setApplication(application);
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
    if (!m_eventDatabase)
        return;
    // The texts first: an event that is in the file finds the text that it names.
    m_stringMap->flush();
    m_eventDatabase->sync();
    if (isBroken())
        return close();
    const long long latest = m_eventDatabase->getLatestTime();
    if (latest > 0)
        m_mark.set(m_fileManager, latest - 1);
}

/// Null when the writer that trace functions go to is closed, or there is none.
inline WdbIndexedWriter* WdbIndexedWriter::getOpenWriter()
{
    WdbIndexedWriter* const writer = s_pWriter;
    return writer && writer->m_eventDatabase ? writer : nullptr;
}

inline long long WdbIndexedWriter::getAddress(const unsigned char* place) const
{
    return static_cast<long long>(reinterpret_cast<std::uintptr_t>(place) -
                                  static_cast<unsigned long long>(m_baseOffset));
}

inline void WdbIndexedWriter::writeEvent(long long time, long long address, unsigned int length,
                                         const unsigned char* value)
{
    // Without a bucket the database drops every change, and does not say so.
    if (m_eventDatabase->getEventDatabaseHeader().m_numberOfBuckets == 0)
        return tellRefusal(address);
    if (address >= m_countersBegin && address < m_countersEnd)
        makeRoomForCounter(time, address);
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
        if (WdbEventBtree* const tree = m_eventDatabase->findTree(address))
            tree->filterAndSaveBlock();
    }
    ++counted.changes;
}

void WdbIndexedWriter::tellRefusal(long long address)
{
    if (m_isRefusalTold)
        return;
    m_isRefusalTold = true;
    std::cerr << "tracewell: " + m_fileName + ": a change at address " + std::to_string(address) +
                     " is left out, since it does not lie within the " +
                     std::to_string(m_eventDatabase->getEventDatabaseHeader().m_addressSize) +
                     " bytes of data memory that were announced: tell the writer of all of them "
                     "before it opens; others like it are left out without a word\n"
              << std::flush;
}

void WdbIndexedWriter::writeVector(long long time, long long address, const unsigned char* vector,
                                   const unsigned char* value, unsigned int firstBit,
                                   unsigned int endBit)
{
    if (endBit <= firstBit)
        return;
    const VectorSpan span(firstBit, endBit);
    if (!span.isWholeGroups) {
        const std::size_t size = std::size_t{span.groups} * kBytesOfGroup;
        if (size > m_scratch.size())
            m_scratch.resize(size);
        mergeVector(vector, value, firstBit, endBit, m_scratch.data());
        value = m_scratch.data();
    }
    const unsigned long long place =
        static_cast<unsigned long long>(address) + std::uint64_t{span.firstGroup} * kBytesOfGroup;
    writeEvent(time, static_cast<long long>(place), span.groups * kBytesOfGroup, value);
    if (m_scratch.size() > kMostScratchKept)
        std::vector<unsigned char>().swap(m_scratch);
}

void WdbIndexedWriter::traceVhdl(long long time, unsigned int, unsigned int size,
                                 unsigned char* old, unsigned char* value)
{
    if (WdbIndexedWriter* const writer = getOpenWriter())
        writer->writeEvent(time, writer->getAddress(old), size, value);
}

void WdbIndexedWriter::traceVhdlScalar(long long, unsigned int, unsigned int, const unsigned char*)
{}

void WdbIndexedWriter::traceVlog(long long time, unsigned int, unsigned int, unsigned char* old,
                                 unsigned char* value, unsigned int firstBit, unsigned int endBit)
{
    if (WdbIndexedWriter* const writer = getOpenWriter())
        writer->writeVector(time, writer->getAddress(old), old, value, firstBit, endBit);
}

void WdbIndexedWriter::traceScObject(long long time, unsigned long long address, unsigned char* old,
                                     unsigned char* value, unsigned int firstBit,
                                     unsigned int bitCount)
{
    WdbIndexedWriter* const writer = getOpenWriter();
    if (!writer)
        return;
    writer->writeVector(time, static_cast<long long>(address), old, value, firstBit,
                        firstBit + bitCount);
    writer->WdbIndexedWriter::markCurrentTime(time);
}

void WdbIndexedWriter::traceScVirtualObject(long long time, unsigned long long address,
                                            unsigned char* value, unsigned int offset,
                                            unsigned int size)
{
    WdbIndexedWriter* const writer = getOpenWriter();
    if (!writer)
        return;
    writer->writeEvent(time, static_cast<long long>(address + offset), size, value);
    writer->WdbIndexedWriter::markCurrentTime(time);
}

} // namespace Tracewell
