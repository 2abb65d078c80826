// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStandAloneWriter.h"

#include "BlockStoreQueue.h"
#include "EventFile.h"
#include "EventTracing.h"
#include "QsimException.h"
#include "VectorMerge.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbMultipleBucketEventDatabase.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Tracewell {

IWdbWriter::~IWdbWriter() = default;

WdbStandAloneWriter* WdbStandAloneWriter::s_pWriter = nullptr;

WdbStandAloneWriter::WdbStandAloneWriter()
    : m_file(std::make_unique<EventFile>()), m_scratch(std::make_unique<VectorScratch>()),
      m_bucketDivision(WdbEventDatabaseHeader::getBucketDivision())
{
    EventTracing<WdbStandAloneWriter>::enter(*this);
}

WdbStandAloneWriter::~WdbStandAloneWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    EventTracing<WdbStandAloneWriter>::leave(*this);
}

void WdbStandAloneWriter::open(WriterMode, const std::string& snapshot, const std::string& wdbFile,
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

void WdbStandAloneWriter::create(const std::string& snapshot)
{
    constexpr int kTypeId = WdbEventBlockDatabaseFactory::kMultipleBucket;

    const auto addressSize = static_cast<unsigned long long>(std::max(m_addressSize, 0LL));
    const unsigned int division =
        m_bucketDivision == 0 ? WdbEventDatabaseHeader::getBucketDivision() : m_bucketDivision;
    if (addressSize / division >= std::numeric_limits<int>::max()) {
        throw Qsim::OpenException("QSim", __FILE__, "", __LINE__,
                                  "The address size needs too many buckets. Please choose a larger "
                                  "bucket division.");
    }

    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(kTypeId, m_file->getManager()));
    database->setFilterRepeatedValue(m_filter);
    m_file->create(snapshot, m_hasMark);
    database->initialize(WdbIEventBlockDatabase::createEventSection(
                             kTypeId,
                             WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, division),
                             addressSize, division, m_file->getManager()),
                         true);
    m_file->createTexts();

    // The factory's class for this type, known by name so that a trace call is no virtual call.
    m_eventDatabase.reset(static_cast<WdbMultipleBucketEventDatabase*>(database.release()));
    const auto queue = std::make_shared<BlockStoreQueue>();
    m_eventDatabase->setStoreQueue(queue);
    m_file->getTexts()->setStoreQueue(queue);
}

long long WdbStandAloneWriter::addString(const std::string& text)
{
    return m_file->addString(text);
}

void WdbStandAloneWriter::close()
{
    const bool wasOpen = m_eventDatabase != nullptr;
    m_eventDatabase.reset();
    m_file->closeTexts();
    m_file->close(wasOpen);
}

void WdbStandAloneWriter::restart() {}

void WdbStandAloneWriter::setMaxTraceableSize(unsigned int) {}

void WdbStandAloneWriter::markCurrentTime(long long time)
{
    if (!m_eventDatabase) {
        return;
    }
    m_eventDatabase->WdbMultipleBucketEventDatabase::setLatestTime(time);
    if (m_file->isBroken()) {
        close();
    }
}

void WdbStandAloneWriter::setApplication(const std::string& application)
{
    m_file->getManager().setApplication(application);
}

void WdbStandAloneWriter::setFilterRepeatedValue(bool filter)
{
    m_filter = filter;
    if (m_eventDatabase) {
        m_eventDatabase->setFilterRepeatedValue(filter);
    }
}

void WdbStandAloneWriter::flush()
{
    if (!m_eventDatabase) {
        return;
    }
    // The texts first: an event that is in the file finds the text that it names.
    m_file->getTexts()->flush();
    m_eventDatabase->flush();
    if (m_file->isBroken()) {
        return close();
    }
    m_file->markWholeBefore(m_eventDatabase->getLatestTime());
}

/// Null when the writer that trace functions go to is closed, or there is none.
inline WdbStandAloneWriter* WdbStandAloneWriter::getOpenWriter()
{
    WdbStandAloneWriter* const writer = s_pWriter;
    return writer && writer->m_eventDatabase ? writer : nullptr;
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
    m_scratch->pass(address, vector, value, firstBit, endBit,
                    [&](long long place, unsigned int size, const unsigned char* bytes) {
                        writeEvent(time, place, size, bytes);
                    });
}

inline void WdbStandAloneWriter::finishScObject(long long time)
{
    // No virtual call.
    WdbStandAloneWriter::markCurrentTime(time);
}

IWdbWriter::TraceVhdlFunc WdbStandAloneWriter::getTraceVhdlFunc()
{
    return &EventTracing<WdbStandAloneWriter>::traceVhdl;
}

IWdbWriter::TraceVhdlFuncScalar WdbStandAloneWriter::getTraceVhdlFuncScalar()
{
    return &EventTracing<WdbStandAloneWriter>::traceVhdlScalar;
}

IWdbWriter::TraceVlogFunc WdbStandAloneWriter::getTraceVlogFunc()
{
    return &EventTracing<WdbStandAloneWriter>::traceVlog;
}

IWdbWriter::TraceScObjectFunc WdbStandAloneWriter::getTraceScObjectFunc()
{
    return &EventTracing<WdbStandAloneWriter>::traceScObject;
}

IWdbWriter::TraceScVirtualObjectFunc WdbStandAloneWriter::getTraceScVirtualObjectFunc()
{
    return &EventTracing<WdbStandAloneWriter>::traceScVirtualObject;
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
