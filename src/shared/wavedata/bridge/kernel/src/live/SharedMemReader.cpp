// SPDX-License-Identifier: BSD-3-Clause

#include "SharedMemReader.h"

#include "platform/SignalMask.h"

#include <utility>

namespace Tracewell {

SharedMemReader::~SharedMemReader()
{
    {
        const MutexLock lock(m_mutex);
        m_changed.notify_all();
    }
    join();
}

void SharedMemReader::start(std::function<void()> body)
{
    join();
    const SignalMask mask;
    m_thread = std::make_unique<boost::thread>(std::move(body));
}

void SharedMemReader::join()
{
    if (m_thread) {
        m_thread->join();
    }
    m_thread.reset();
}

void SharedMemReader::capture(bool on)
{
    const MutexLock lock(m_mutex);
    m_capture = on;
    m_changed.notify_all();
}

bool SharedMemReader::isCapturing() const
{
    const MutexLock lock(m_mutex);
    return m_capture;
}

} // namespace Tracewell
