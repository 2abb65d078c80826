// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <atomic>
#include <string>

namespace Tracewell {

/// Ends the process over a broken storage path: prints the literal and the system's text for the
/// current errno as one line on the standard error stream, then exits with status 1 at once. No
/// destructor runs, so what has not reached the operating system is lost. Where the host has a
/// StorageFailureHandler, that gets the line instead, and the call returns. Every fatal line of the
/// library goes through here.
void reportFatalError(const std::string& literal);

/// Whether the host has a handler.
bool hasFailureHandler();

/// Gives the host's handler a line that goes with a failure that it was told of; without a handler
/// there is nobody to tell.
void tellFailureHandler(const std::string& line);

/// Whether a storage still works. Broken for good after the first failure. Any thread.
class StorageHealth
{
public:
    bool isBroken() const { return m_isBroken.load(std::memory_order_acquire); }
    /// As reportFatalError, for the first failure of this storage.
    void breakDown(const std::string& literal);
    void mend() { m_isBroken.store(false, std::memory_order_release); }

private:
    std::atomic<bool> m_isBroken{false};
};

} // namespace Tracewell
