// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "record/Store.h"

#include <functional>
#include <optional>
#include <string>

namespace tracewell {

class InterruptGuard;
class OutputFile;
class SnapshotDirectory;

/// A recording that a command makes.
struct RecordingOrder
{
    /// The command, a verb.
    const char* verb;
    std::string input;
    std::string output;
    /// None for an FST.
    std::optional<Store> store;
    /// Others read it while it grows.
    bool isReadMeanwhile;
};

/// Runs `make`, which finishes the output that it is given, where a storage that breaks does not
/// end the program without a word. After a failure what was there stays as it was. \throws Failure
void makeRecording(
    const RecordingOrder& order,
    const std::function<void(OutputFile&, SnapshotDirectory&, const InterruptGuard&)>& make);

} // namespace tracewell
