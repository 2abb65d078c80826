// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <functional>
#include <string>

namespace tracewell {

/// While one exists, a storage that fails ends no process: the line that the library has to say of
/// it goes to all that exist, for any of them may be concerned. Once the last one has gone, the
/// library does again what it does without a handler (see StorageFailure.h). SIGXFSZ is ignored
/// from the first one on, unless somebody has asked for something else. Any thread.
class StorageWatch
{
public:
    /// Held to what a StorageFailureHandler is held to; one call at a time, and none behind the
    /// destructor.
    using Handler = std::function<void(const std::string& line)>;

    explicit StorageWatch(Handler handler);
    StorageWatch(const StorageWatch&) = delete;
    StorageWatch& operator=(const StorageWatch&) = delete;
    ~StorageWatch();

private:
    const Handler m_handler;
};

} // namespace tracewell
