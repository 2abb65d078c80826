// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "record/Store.h"
#include "record/ValueSink.h"

#include <memory>
#include <string>

namespace tracewell {

class DataLayout;
class SnapshotDirectory;

/// The file that an import makes, and the library's writer of it. One at a time. Gone without
/// finish(), it leaves a file that the importer takes away.
class RecordingWriter
{
public:
    RecordingWriter() = default;
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;
    virtual ~RecordingWriter() = default;

    virtual Tracewell::IWdbWriter& writer() = 0;
    /// For the recorder that feeds the writer.
    virtual MakeSink sink() = 0;
    /// Opens the output; the names lie in `directory`, which may be removed afterwards.
    /// `inputSize` is 0 where it is not known.
    /// \throws Failure, Qsim::OpenException
    virtual void open(const std::string& output, const SnapshotDirectory& directory,
                      const DataLayout& layout, unsigned long long inputSize) = 0;
    /// Makes what was recorded so far readable by others.
    virtual void flush() {}
    /// \throws Failure when the storage has failed.
    virtual void check() const {}
    /// Finishes the file at `lastTime`. The names are put into `directory` once more if need be.
    /// \throws Failure when the file is not whole.
    virtual void finish(long long lastTime, SnapshotDirectory& directory,
                        const Declarations& declarations) = 0;
};

/// A database of events; `division` is the number of addresses a bucket, 0 for what suits.
std::unique_ptr<RecordingWriter> makeEventWriter(unsigned int division);
/// A database of events with an index by time.
std::unique_ptr<RecordingWriter> makeIndexedWriter();
/// A recording in columns.
std::unique_ptr<RecordingWriter> makeColumnWriter();
/// A database of transitions. Without a storage failure handler of the library's a file that could
/// not be written comes to look finished; check() tells the reason either way.
std::unique_ptr<RecordingWriter> makeTransitionWriter();
/// One of these; `division` is for events.
std::unique_ptr<RecordingWriter> makeRecordingWriter(Store store, unsigned int division = 0);

} // namespace tracewell
