// SPDX-License-Identifier: BSD-3-Clause

#include "BlockStoreQueue.h"

#include "ImageCompressor.h"
#include "platform/SignalMask.h"

#include <algorithm>
#include <system_error>

namespace Tracewell {

StoreTask::~StoreTask() = default;

unsigned int BlockStoreQueue::getDefaultWorkers()
{
    return std::clamp(std::thread::hardware_concurrency(), 1u, 2u);
}

BlockStoreQueue::BlockStoreQueue(unsigned int workers, std::size_t maxBytes)
    : m_maxBytes(maxBytes), m_ring(kMaxTasks)
{
    m_workers.reserve(workers);
    const SignalMask mask;
    try {
        while (m_workers.size() < workers) {
            m_workers.emplace_back(&BlockStoreQueue::work, this);
        }
    } catch (const std::system_error&) {
        // Fewer threads than wished for do as well.
    }
}

BlockStoreQueue::~BlockStoreQueue()
{
    {
        const MutexLock lock(m_mutex);
        m_stop = true;
    }
    m_workToDo.notify_all();
    for (std::thread& worker : m_workers) {
        worker.join();
    }
}

void BlockStoreQueue::submit(StoreTask& task, std::size_t bytes)
{
    if (m_workers.empty()) {
        ImageCompressor compressor;
        task.compress(compressor);
        task.commit();
        return;
    }
    bool wake = false;
    {
        MutexLock lock(m_mutex);
        while (!hasRoom(bytes)) {
            ++m_waitingSubmitters;
            lock.wait(m_roomMade);
            --m_waitingSubmitters;
        }
        slotOf(m_submitted++) = {&task, bytes, false};
        m_bytes += bytes;
        wake = m_sleepingWorkers > 0;
    }
    if (wake) {
        m_workToDo.notify_one();
    }
}

void BlockStoreQueue::drain()
{
    MutexLock lock(m_mutex);
    while (m_committed != m_submitted) {
        lock.wait(m_allCommitted);
    }
}

bool BlockStoreQueue::hasRoom(std::size_t bytes) const
{
    const unsigned long long waiting = m_submitted - m_committed;
    return waiting == 0 || (waiting < kMaxTasks && m_bytes + bytes <= m_maxBytes);
}

bool BlockStoreQueue::isHalfEmpty() const
{
    return m_bytes <= m_maxBytes / 2 && m_submitted - m_committed <= kMaxTasks / 2;
}

void BlockStoreQueue::work()
{
    ImageCompressor compressor;
    MutexLock lock(m_mutex);
    for (;;) {
        ++m_sleepingWorkers;
        while (!m_stop && m_claimed == m_submitted) {
            lock.wait(m_workToDo);
        }
        --m_sleepingWorkers;
        if (m_claimed == m_submitted) {
            return;
        }
        Slot& slot = slotOf(m_claimed++);
        lock.unlock();
        slot.task->compress(compressor);
        lock.lock();
        slot.compressed = true;
        commitReadyTasks();
    }
}

void BlockStoreQueue::commitReadyTasks()
{
    if (m_committing) {
        return;
    }
    m_committing = true;
    while (m_committed < m_claimed && slotOf(m_committed).compressed) {
        const Slot slot = slotOf(m_committed);
        m_mutex.unlock();
        slot.task->commit();
        m_mutex.lock();
        ++m_committed;
        m_bytes -= slot.bytes;
        // Not for every single block: whoever submits faster than the workers compress then sleeps
        // and wakes twice a queue, and finds the first half of it free.
        if (m_waitingSubmitters > 0 && (m_committed == m_submitted || isHalfEmpty())) {
            m_roomMade.notify_all();
        }
    }
    m_committing = false;
    if (m_committed == m_submitted) {
        m_allCommitted.notify_all();
    }
}

} // namespace Tracewell
