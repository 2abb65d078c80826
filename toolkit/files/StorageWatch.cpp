// SPDX-License-Identifier: BSD-3-Clause

#include "files/StorageWatch.h"

#include "StorageFailure.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

struct Watches
{
    std::mutex mutex;
    /// Guarded by the mutex, which is held while they are called.
    std::vector<const StorageWatch::Handler*> handlers;
};

/// Outlives whatever may still be told at the end of the process.
Watches& watches()
{
    static auto* const all = new Watches;
    return *all;
}

void tellAll(const std::string& line)
{
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    for (const StorageWatch::Handler* const handler : all.handlers) {
        (*handler)(line);
    }
}

} // namespace

StorageWatch::StorageWatch(Handler handler) : m_handler(std::move(handler))
{
    // A file that grows beyond a limit fails like one on a full disk.
    struct sigaction present
    {};
    if (::sigaction(SIGXFSZ, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
        std::signal(SIGXFSZ, SIG_IGN);
    }
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    all.handlers.push_back(&m_handler);
    Tracewell::setStorageFailureHandler(&tellAll);
}

StorageWatch::~StorageWatch()
{
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    all.handlers.erase(std::find(all.handlers.begin(), all.handlers.end(), &m_handler));
    // A recording of the last of a run has one of its own meanwhile.
    Tracewell::setStorageFailureHandler(all.handlers.empty() ? Tracewell::StorageFailureHandler()
                                                             : &tellAll);
}

} // namespace tracewell
