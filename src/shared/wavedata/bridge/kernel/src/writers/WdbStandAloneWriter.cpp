// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStandAloneWriter.h"

#include "BlockStoreQueue.h"
#include "FatalError.h"
#include "OutputFileNames.h"
#include "QsimException.h"
#include "SnapshotSections.h"
#include "VectorMerge.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbMultipleBucketEventDatabase.h"
#include "WdbStringMapDatabase.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Tracewell {

namespace {

constexpr int kStringMapTypeId = 101;
/// A scratch buffer beyond this is given back, so that one huge vector does not pin memory.
constexpr unsigned int kMostGroupsKept = 100;

long long moveAddress(long long address, unsigned long long distance)
{
    return static_cast<long long>(static_cast<unsigned long long>(address) + distance);
}

} // namespace

IWdbWriter::~IWdbWriter() = default;

WdbStandAloneWriter* WdbStandAloneWriter::s_pWriter = nullptr;

WdbStandAloneWriter::WdbStandAloneWriter()
    : m_previousWriter(s_pWriter), m_bucketDivision(WdbEventDatabaseHeader::getBucketDivision())
{
    s_pWriter = this;
}

WdbStandAloneWriter::~WdbStandAloneWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    WdbStandAloneWriter** link = &s_pWriter;
    while (*link != this)
        link = &(*link)->m_previousWriter;
    *link = m_previousWriter;
}

void WdbStandAloneWriter::open(WriterMode, const std::string& snapshot, const std::string& wdbFile,
                               int)
{
    close();
    m_fileName = wdbFile.empty() ? ZSIM::OutputFileNames::getWdbFileName() : wdbFile;
    const auto requireStorage = [this] {
        if (m_fileManager.isOpen() && isBroken())
            throw Qsim::OpenException(
                "QSim", __FILE__, "", __LINE__,
                "The simulation database file could be created, but not written.");
    };
    try {
        try {
            create(snapshot, m_fileName);
        } catch (const Qsim::OpenException&) {
            // What was read back from a storage that broke is no damage of the file's.
            requireStorage();
            throw;
        }
        requireStorage();
    } catch (...) {
        close();
        throw;
    }
}

void WdbStandAloneWriter::create(const std::string& snapshot, const std::string& fileName)
{
    constexpr int kTypeId = WdbEventBlockDatabaseFactory::kMultipleBucket;

    const auto addressSize = static_cast<unsigned long long>(std::max(m_addressSize, 0LL));
    const unsigned int division =
        m_bucketDivision == 0 ? WdbEventDatabaseHeader::getBucketDivision() : m_bucketDivision;
    if (addressSize / division >= std::numeric_limits<int>::max())
        throw Qsim::OpenException("QSim", __FILE__, "", __LINE__,
                                  "The address size needs too many buckets. Please choose a larger "
                                  "bucket division.");

    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(kTypeId, m_fileManager));
    database->setFilterRepeatedValue(m_filter);
    m_fileManager.create(fileName);
    // Before anything can be read, so that no file is without what tells how much of it is whole.
    m_mark = WdbWholeMark();
    if (m_hasMark)
        m_mark.create(m_fileManager);

    embedSnapshot(m_fileManager, snapshot);

    database->initialize(WdbIEventBlockDatabase::createEventSection(
                             kTypeId,
                             WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, division),
                             addressSize, division, m_fileManager),
                         true);
    auto stringMap = std::make_unique<WdbStringMapDatabase>(m_fileManager);
    stringMap->initialize(
        WdbStringMapDatabase::createStringMapSection(kStringMapTypeId, m_fileManager, true), true);

    // The factory's class for this type, known by name so that a trace call is no virtual call.
    m_eventDatabase.reset(static_cast<WdbMultipleBucketEventDatabase*>(database.release()));
    m_stringMap = std::move(stringMap);
    const auto queue = std::make_shared<BlockStoreQueue>();
    m_eventDatabase->setStoreQueue(queue);
    m_stringMap->setStoreQueue(queue);
}

long long WdbStandAloneWriter::addString(const std::string& text)
{
    return m_stringMap ? m_stringMap->addString(text) : -1;
}

void WdbStandAloneWriter::close()
{
    const bool wasOpen = m_eventDatabase != nullptr;
    m_eventDatabase.reset();
    m_stringMap.reset();
    if (wasOpen && !isBroken())
        m_mark.set(m_fileManager, WdbWholeMark::kClosed);
    m_fileManager.close();
    if (wasOpen && isBroken())
        tellFailureHandler("Tracing to " + m_fileName +
                           " has stopped. The file is not closed; it holds what had reached it.");
}

void WdbStandAloneWriter::restart() {}

void WdbStandAloneWriter::setMaxTraceableSize(unsigned int) {}

void WdbStandAloneWriter::markCurrentTime(long long time)
{
    if (!m_eventDatabase)
        return;
    m_eventDatabase->WdbMultipleBucketEventDatabase::setLatestTime(time);
    if (isBroken())
        close();
}

void WdbStandAloneWriter::setApplication(const std::string& application)
{
    m_fileManager.setApplication(application);
}

void WdbStandAloneWriter::setFilterRepeatedValue(bool filter)
{
    m_filter = filter;
    if (m_eventDatabase)
        m_eventDatabase->setFilterRepeatedValue(filter);
}

void WdbStandAloneWriter::flush()
{
    if (!m_eventDatabase)
        return;
    // The texts first: an event that is in the file finds the text that it names.
    m_stringMap->flush();
    m_eventDatabase->flush();
    if (isBroken())
        return close();
    const long long latest = m_eventDatabase->getLatestTime();
    if (latest > 0)
        m_mark.set(m_fileManager, latest - 1);
}

/// Null when the writer that trace functions go to is closed, or there is none.
inline WdbStandAloneWriter* WdbStandAloneWriter::getOpenWriter()
{
    WdbStandAloneWriter* const writer = s_pWriter;
    return writer && writer->m_eventDatabase ? writer : nullptr;
}

inline long long WdbStandAloneWriter::getAddress(const unsigned char* place) const
{
    return static_cast<long long>(reinterpret_cast<std::uintptr_t>(place) -
                                  static_cast<unsigned long long>(m_baseOffset));
}

inline void WdbStandAloneWriter::writeEvent(long long time, long long address, unsigned int length,
                                            const unsigned char* value)
{
    m_eventDatabase->WdbMultipleBucketEventDatabase::writeEvent(time, address, length, value);
}

void WdbStandAloneWriter::writeVector(long long time, long long address,
                                      const unsigned char* vector, const unsigned char* value,
                                      unsigned int firstBit, unsigned int endBit)
{
    if (endBit <= firstBit)
        return;
    const VectorSpan span(firstBit, endBit);
    if (!span.isWholeGroups) {
        reserveScratch(span.groups);
        mergeVector(vector, value, firstBit, endBit, m_scratch.get());
        value = m_scratch.get();
    }
    writeEvent(
        time,
        moveAddress(address, static_cast<unsigned long long>(span.firstGroup) * kBytesOfGroup),
        span.groups * kBytesOfGroup, value);
    if (m_scratchGroups > kMostGroupsKept) {
        m_scratch.reset();
        m_scratchGroups = 0;
    }
}

void WdbStandAloneWriter::reserveScratch(unsigned int groups)
{
    if (groups <= m_scratchGroups)
        return;
    m_scratchGroups = 0;
    m_scratch.reset();
    m_scratch.reset(new unsigned char[std::size_t{groups} * kBytesOfGroup]);
    m_scratchGroups = groups;
}

void WdbStandAloneWriter::traceVhdl(long long time, unsigned int, unsigned int size,
                                    unsigned char* old, unsigned char* value)
{
    if (WdbStandAloneWriter* const writer = getOpenWriter())
        writer->writeEvent(time, writer->getAddress(old), size, value);
}

void WdbStandAloneWriter::traceVhdlScalar(long long, unsigned int, unsigned int,
                                          const unsigned char*)
{}

void WdbStandAloneWriter::traceVlog(long long time, unsigned int, unsigned int, unsigned char* old,
                                    unsigned char* value, unsigned int firstBit,
                                    unsigned int endBit)
{
    if (WdbStandAloneWriter* const writer = getOpenWriter())
        writer->writeVector(time, writer->getAddress(old), old, value, firstBit, endBit);
}

void WdbStandAloneWriter::traceScObject(long long time, unsigned long long address,
                                        unsigned char* old, unsigned char* value,
                                        unsigned int firstBit, unsigned int bitCount)
{
    WdbStandAloneWriter* const writer = getOpenWriter();
    if (!writer)
        return;
    writer->writeVector(time, static_cast<long long>(address), old, value, firstBit,
                        firstBit + bitCount);
    writer->WdbStandAloneWriter::markCurrentTime(time);
}

void WdbStandAloneWriter::traceScVirtualObject(long long time, unsigned long long address,
                                               unsigned char* value, unsigned int offset,
                                               unsigned int size)
{
    WdbStandAloneWriter* const writer = getOpenWriter();
    if (!writer)
        return;
    writer->writeEvent(time, static_cast<long long>(address + offset), size, value);
    writer->WdbStandAloneWriter::markCurrentTime(time);
}

} // namespace Tracewell

Tracewell::IWdbWriter* qtracewell_getStandAloneWdbWriter()
{
    static Tracewell::WdbStandAloneWriter writer;
    return &writer;
}

namespace {

/// Makes the library's writer at load, also when nobody has asked for it yet: trace functions go to
/// the writer constructed last.
[[maybe_unused]] const Tracewell::IWdbWriter* const s_writerMadeAtLoad =
    qtracewell_getStandAloneWdbWriter();

} // namespace
