// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "record/RecordingWriter.h"
#include "record/ValueRecorder.h"

#include <memory>
#include <string>

namespace tracewell {

class InterruptGuard;
class OutputFile;
class SnapshotDirectory;

/// Records the changes of a recording anew, in whatever store: the histories of all signals are the
/// same in both.
class RecordingPacker
{
public:
    /// \throws Failure when the input cannot be read.
    RecordingPacker(std::string input, Reach reach, Store store);

    /// Makes and finishes the output. Where storage breaks, the library's handler is asked for.
    /// \throws Failure, and DoneInPart when the input lacks something
    void run(OutputFile& output, SnapshotDirectory& directory, const InterruptGuard& interrupt);
    std::size_t variableCount() const { return m_declarations.variables.size(); }
    unsigned long long changeCount() const { return m_values.changes(); }

private:
    void store(std::uint32_t object);

    std::string m_input;
    std::unique_ptr<ChangeStream> m_changes;
    const Declarations& m_declarations;
    DataLayout m_layout;
    std::unique_ptr<RecordingWriter> m_writer;
    ValueRecorder m_values;
    std::string m_text;
};

} // namespace tracewell
