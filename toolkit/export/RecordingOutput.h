// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "export/RunOutput.h"
#include "names/DataLayout.h"
#include "record/RecordingWriter.h"
#include "record/Store.h"
#include "record/ValueRecorder.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tracewell {

class OutputFile;
class SnapshotDirectory;

/// A wave database in whatever store: the histories of all signals are those of the stream.
class RecordingOutput : public RunOutput
{
public:
    /// Keeps references to all of them. `inputSize` is 0 where it is not known. Where storage
    /// breaks, the library's handler is asked for.
    RecordingOutput(OutputFile& output, SnapshotDirectory& directory, Store store,
                    const Declarations& declarations, unsigned long long inputSize);

    void write(ChangeStream& changes) override;
    void check() override;
    std::string finish(long long end, bool isWhole) override;
    unsigned long long changeCount() const { return m_values.changes(); }

private:
    void store(ChangeStream& changes, std::uint32_t object);

    OutputFile& m_output;
    SnapshotDirectory& m_directory;
    const Declarations& m_declarations;
    DataLayout m_layout;
    std::unique_ptr<RecordingWriter> m_writer;
    ValueRecorder m_values;
    std::string m_text;
};

} // namespace tracewell
