// SPDX-License-Identifier: BSD-3-Clause

#include "names/DataLayout.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"

#include "WdbIndexedWriter.h"

namespace tracewell {

namespace {

class IndexedWriter : public RecordingWriter
{
public:
    Tracewell::IWdbWriter& writer() override { return m_writer; }
    MakeSink sink() override { return makeEventSink(m_writer); }

    void open(const std::string& output, const SnapshotDirectory& directory,
              const DataLayout& layout, unsigned long long) override
    {
        // How often an event fires at one time.
        m_writer.setCounters(layout.eventStart(), layout.eventEnd());
        m_writer.setApplication("tracewell");
        m_writer.open(Tracewell::IWdbWriter::kDefaultMode, directory.snapshot(), output, 0);
    }

    void flush() override { m_writer.sync(); }
    void finish(long long, SnapshotDirectory&, const Declarations&) override { m_writer.close(); }

private:
    Tracewell::WdbIndexedWriter m_writer;
};

} // namespace

std::unique_ptr<RecordingWriter> makeIndexedWriter()
{
    return std::make_unique<IndexedWriter>();
}

} // namespace tracewell
