// SPDX-License-Identifier: BSD-3-Clause

#include "names/DataLayout.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"

#include "WdbColumnWriter.h"

namespace tracewell {

namespace {

class ColumnWriter : public RecordingWriter
{
public:
    Tracewell::IWdbWriter& writer() override { return m_writer; }

    MakeSink sink() override
    {
        return
            [this](const Declarations& declarations, const DataLayout& layout, DataMemory& memory) {
                m_writer.setFields(fieldsOf(declarations, layout));
                return makeEventSink(m_writer)(declarations, layout, memory);
            };
    }

    void open(const std::string& output, const SnapshotDirectory& directory, const DataLayout&,
              unsigned long long) override
    {
        m_writer.setApplication("tracewell");
        m_writer.open(Tracewell::IWdbWriter::kDefaultMode, directory.snapshot(), output, 0);
    }

    void flush() override { m_writer.sync(); }
    void finish(long long lastTime, SnapshotDirectory&, const Declarations&) override
    {
        m_writer.markCurrentTime(lastTime);
        m_writer.close();
    }

private:
    /// Texts that stand in for values are rare; their places become fields when they are used.
    static std::vector<Tracewell::WdbColumnField> fieldsOf(const Declarations& declarations,
                                                           const DataLayout& layout)
    {
        std::vector<Tracewell::WdbColumnField> fields;
        fields.reserve(declarations.objects.size());
        for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
            const Object& object = declarations.objects[i];
            fields.push_back({layout.addressOf(i),
                              static_cast<unsigned int>(DataLayout::sizeOf(object)),
                              object.kind->fires()});
        }
        return fields;
    }

    Tracewell::WdbColumnWriter m_writer;
};

} // namespace

std::unique_ptr<RecordingWriter> makeColumnWriter()
{
    return std::make_unique<ColumnWriter>();
}

} // namespace tracewell
