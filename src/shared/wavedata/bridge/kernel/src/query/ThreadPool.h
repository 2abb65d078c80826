// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tracewell {

/// Runs tasks on threads of its own, in the order of submission. Used by one thread.
class ThreadPool
{
public:
    static std::size_t getProcessorCount();

    /// `threads` is cut to the number of processors; there is always at least one thread.
    explicit ThreadPool(std::size_t threads);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;
    ~ThreadPool() { stop(); }

    /// The future takes the task's exception.
    /// \throws std::runtime_error after stop.
    template <class Task> std::future<std::invoke_result_t<Task>> submit(Task task)
    {
        auto packaged =
            std::make_shared<std::packaged_task<std::invoke_result_t<Task>()>>(std::move(task));
        auto future = packaged->get_future();
        enqueue([packaged] { (*packaged)(); });
        return future;
    }

    /// Waits until all submitted tasks have run and joins the threads.
    void stop() TRACEWELL_EXCLUDES(m_mutex);

private:
    void enqueue(std::function<void()> task);
    void work();

    std::vector<std::thread> m_workers;
    Mutex m_mutex;
    std::condition_variable m_wakeUp;
    std::deque<std::function<void()>> m_queue TRACEWELL_GUARDED_BY(m_mutex);
    bool m_stop TRACEWELL_GUARDED_BY(m_mutex) = false;
};

} // namespace Tracewell
