// SPDX-License-Identifier: BSD-3-Clause

#include "WdbReadWriteSync.h"

#include <chrono>

namespace Tracewell {

// The writer notifies without the mutex when it ends, which can fall between the test and the wait
// here: the wait is bounded for that.
void WdbReadWriteSync::readingBegin() const
{
    m_reading = true;
    MutexLock lock(m_mutex);
    while (m_writing) {
        lock.waitFor(m_changed, std::chrono::milliseconds(200));
    }
}

void WdbReadWriteSync::readingEnd() const
{
    const MutexLock lock(m_mutex);
    m_reading = false;
    m_changed.notify_all();
}

void WdbReadWriteSync::writingBegin() const
{
    m_writing = true;
    if (!m_reading) {
        return;
    }
    MutexLock lock(m_mutex);
    m_writing = false;
    m_changed.notify_all();
    while (m_reading) {
        lock.wait(m_changed);
    }
    m_writing = true;
}

void WdbReadWriteSync::writingEnd() const
{
    m_writing = false;
    if (m_reading) {
        m_changed.notify_all();
    }
}

} // namespace Tracewell
