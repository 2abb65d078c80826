#include "WdbReadWriteSync.h"

namespace Tracewell {

// The writer notifies without the mutex when it ends, which can fall between the test and the wait
// here: the wait is bounded for that.
void WdbReadWriteSync::readingBegin() const
{
    m_reading = true;
    boost::unique_lock<boost::mutex> lock(m_mutex);
    while (m_writing)
        m_changed.wait_until(lock,
                             boost::chrono::steady_clock::now() + boost::chrono::milliseconds(200));
}

void WdbReadWriteSync::readingEnd() const
{
    const boost::lock_guard<boost::mutex> lock(m_mutex);
    m_reading = false;
    m_changed.notify_all();
}

void WdbReadWriteSync::writingBegin() const
{
    m_writing = true;
    if (!m_reading)
        return;
    boost::unique_lock<boost::mutex> lock(m_mutex);
    m_writing = false;
    m_changed.notify_all();
    while (m_reading)
        m_changed.wait(lock);
    m_writing = true;
}

void WdbReadWriteSync::writingEnd() const
{
    m_writing = false;
    if (m_reading)
        m_changed.notify_all();
}

} // namespace Tracewell
