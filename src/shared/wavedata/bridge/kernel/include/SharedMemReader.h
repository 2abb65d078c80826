// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"

#include <boost/thread/thread.hpp>

#include <condition_variable>
#include <functional>
#include <memory>

namespace Tracewell {

/// Holds the thread that drains a SharedMemory ring, and a switch that others can set for it.
class TRACEWELL_API SharedMemReader
{
public:
    SharedMemReader() = default;
    SharedMemReader(const SharedMemReader&) = delete;
    SharedMemReader& operator=(const SharedMemReader&) = delete;
    /// Wakes whoever waits for the switch and joins the thread: its body must have been told to
    /// end.
    virtual ~SharedMemReader();

    /// Runs `body` on a thread of its own. Joins an earlier one first.
    void start(std::function<void()> body);
    /// Waits for the end of the body, which must have been told to.
    void join();
    /// Sets the switch and wakes whoever waits for it.
    void capture(bool on);
    bool isCapturing() const;

private:
    mutable Mutex m_mutex;
    std::condition_variable m_changed;
    bool m_capture TRACEWELL_GUARDED_BY(m_mutex) = false;
    std::unique_ptr<boost::thread> m_thread;
};

} // namespace Tracewell
