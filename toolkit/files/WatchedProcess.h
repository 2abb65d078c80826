// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <functional>
#include <string>

namespace tracewell {

/// How a watched process came to its end.
struct WatchedEnd
{
    enum class Kind {
        Done,    ///< its work returned
        InPart,  ///< its work threw DoneInPart; `text` is what that said
        Failed,  ///< its work threw; `text` is what it said
        Aborted, ///< the library found the storage broken and ended it; `text` is its reason
        Killed   ///< a signal, or an end of another kind; `text` says which
    };
    Kind kind = Kind::Done;
    std::string text;
    /// Of a failure.
    int exitCode = 1;
};

/// What a line of the library about a broken storage says of the cause alone.
std::string storageReason(std::string line);

/// Runs `work` in a child process and waits for its end. A writer that meets a storage error ends
/// its process on the spot, so whoever takes its unfinished output away must be another process.
/// What the child writes to std::cerr comes out here, when it is over. The child does not outlive
/// this process. Call it while there is one thread.
/// \throws Failure when no process can be started.
WatchedEnd runWatched(const std::function<void()>& work);

} // namespace tracewell
