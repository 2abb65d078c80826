// SPDX-License-Identifier: BSD-3-Clause

#include "ThreadPool.h"

#include "platform/SignalMask.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

namespace Tracewell {

std::size_t ThreadPool::getProcessorCount()
{
    return std::max(1u, std::thread::hardware_concurrency());
}

ThreadPool::ThreadPool(std::size_t threads)
{
    threads = std::clamp<std::size_t>(threads, 1, getProcessorCount());
    m_workers.reserve(threads);
    const SignalMask mask;
    while (m_workers.size() < threads) {
        try {
            m_workers.emplace_back(&ThreadPool::work, this);
        } catch (const std::exception&) {
            // No thread or no memory. Fewer threads take longer; without any nothing would ever
            // run.
            if (m_workers.empty()) {
                throw;
            }
            break;
        }
    }
}

void ThreadPool::stop()
{
    {
        const MutexLock lock(m_mutex);
        m_stop = true;
    }
    m_wakeUp.notify_all();
    for (std::thread& worker : m_workers) {
        worker.join();
    }
    m_workers.clear();
}

void ThreadPool::enqueue(std::function<void()> task)
{
    {
        const MutexLock lock(m_mutex);
        if (m_stop) {
            throw std::runtime_error("submit on stopped ThreadPool");
        }
        m_queue.push_back(std::move(task));
    }
    m_wakeUp.notify_one();
}

void ThreadPool::work()
{
    for (;;) {
        std::function<void()> task;
        {
            MutexLock lock(m_mutex);
            while (!m_stop && m_queue.empty()) {
                lock.wait(m_wakeUp);
            }
            if (m_queue.empty()) {
                return;
            }
            task = std::move(m_queue.front());
            m_queue.pop_front();
        }
        task();
    }
}

} // namespace Tracewell
