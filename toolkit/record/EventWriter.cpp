// SPDX-License-Identifier: BSD-3-Clause

#include "names/DataLayout.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"

#include "WdbStandAloneWriter.h"

#include <algorithm>

namespace tracewell {

namespace {

using Tracewell::IWdbWriter;

constexpr unsigned int kSmallestDivision = 8;
/// An open bucket takes about 16 KB in the writer, so these bound its memory.
constexpr unsigned long long kFewestBuckets = 8;
constexpr unsigned long long kMostBuckets = 2048;
/// Text of a VCD that is worth a bucket of its own: about what fills a block.
constexpr unsigned long long kTextOfBucket = 16 * 1024;
/// Stands in for the size of an input that is not known before its end.
constexpr unsigned long long kAssumedSize = 16 * 1024 * 1024;

/// The fewest addresses a bucket, so that a reader of few signals reads little, within the number
/// of buckets that the input is worth.
unsigned int chooseDivision(const DataLayout& layout, unsigned long long inputSize)
{
    const unsigned long long worth = (inputSize != 0 ? inputSize : kAssumedSize) / kTextOfBucket;
    const unsigned long long buckets = std::clamp(worth, kFewestBuckets, kMostBuckets);
    const auto plainBytes = static_cast<unsigned long long>(layout.overrideStart());
    unsigned int division = kSmallestDivision;
    while (plainBytes > division * buckets) {
        division *= 2;
    }
    return division;
}

class EventWriter : public RecordingWriter
{
public:
    explicit EventWriter(unsigned int division)
        : m_writer(
              static_cast<Tracewell::WdbStandAloneWriter&>(*qtracewell_getStandAloneWdbWriter())),
          m_division(division)
    {}
    ~EventWriter() override { m_writer.close(); }

    IWdbWriter& writer() override { return m_writer; }
    MakeSink sink() override { return makeEventSink(m_writer); }

    void open(const std::string& output, const SnapshotDirectory& directory,
              const DataLayout& layout, unsigned long long inputSize) override
    {
        m_writer.setBucketDivision(m_division != 0 ? m_division
                                                   : chooseDivision(layout, inputSize));
        // Nothing is traced twice, and the filter would fuse the firings of an event at one time.
        m_writer.setFilterRepeatedValue(false);
        m_writer.setApplication("tracewell");
        m_writer.setWholeMark(true);
        m_writer.open(IWdbWriter::kDefaultMode, directory.snapshot(), output, 0);
    }

    void flush() override { m_writer.flush(); }
    void finish(long long, SnapshotDirectory&, const Declarations&) override { m_writer.close(); }

private:
    Tracewell::WdbStandAloneWriter& m_writer;
    unsigned int m_division;
};

} // namespace

std::unique_ptr<RecordingWriter> makeEventWriter(unsigned int division)
{
    return std::make_unique<EventWriter>(division);
}

} // namespace tracewell
