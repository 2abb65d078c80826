// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"

#include <condition_variable>
#include <cstddef>
#include <thread>
#include <vector>

namespace Tracewell {

class ImageCompressor;

/// A full block on its way to the file. Neither step lets an exception out.
class StoreTask
{
public:
    virtual ~StoreTask();
    /// The slow part, on any worker, beside other tasks.
    virtual void compress(ImageCompressor& compressor) = 0;
    /// Stores and lists the result, in the order of submission, one task at a time. The task may
    /// be used anew as soon as this returns.
    virtual void commit() = 0;
};

/// Takes the compression of full blocks off the thread that fills them. Worker threads compress in
/// parallel; whichever has the oldest finished task commits it, so the file sees the blocks in the
/// order of submission. Bounded: whoever submits to a full queue waits, and nothing is dropped.
/// Without a thread to be had, submit does the work itself.
///
/// submit and drain are for any thread that does not hold a mutex which a commit takes.
class BlockStoreQueue
{
public:
    static constexpr std::size_t kDefaultMaxBytes = std::size_t{4} << 20;

    /// At most two, as many as there are processors.
    static unsigned int getDefaultWorkers();

    explicit BlockStoreQueue(unsigned int workers = getDefaultWorkers(),
                             std::size_t maxBytes = kDefaultMaxBytes);
    BlockStoreQueue(const BlockStoreQueue&) = delete;
    BlockStoreQueue& operator=(const BlockStoreQueue&) = delete;
    /// Commits what is under way first.
    ~BlockStoreQueue();

    /// The task stays the caller's and must live until it is committed. `bytes` is what it keeps
    /// occupied meanwhile.
    void submit(StoreTask& task, std::size_t bytes) TRACEWELL_EXCLUDES(m_mutex);
    /// Waits until all that was submitted is committed.
    void drain() TRACEWELL_EXCLUDES(m_mutex);

private:
    struct Slot
    {
        StoreTask* task = nullptr;
        std::size_t bytes = 0;
        bool compressed = false;
    };

    static constexpr std::size_t kMaxTasks = 1024;

    Slot& slotOf(unsigned long long number) TRACEWELL_REQUIRES(m_mutex)
    {
        return m_ring[number % kMaxTasks];
    }
    bool hasRoom(std::size_t bytes) const TRACEWELL_REQUIRES(m_mutex);
    bool isHalfEmpty() const TRACEWELL_REQUIRES(m_mutex);
    void work();
    /// Without the mutex while a task commits.
    void commitReadyTasks() TRACEWELL_REQUIRES(m_mutex);

    const std::size_t m_maxBytes;
    /// Not held while a task runs.
    Mutex m_mutex;
    std::condition_variable m_workToDo;
    std::condition_variable m_roomMade;
    std::condition_variable m_allCommitted;
    std::vector<Slot> m_ring TRACEWELL_GUARDED_BY(m_mutex);
    // Tasks are numbered in the order of submission: committed <= claimed <= submitted.
    unsigned long long m_submitted TRACEWELL_GUARDED_BY(m_mutex) = 0;
    unsigned long long m_claimed TRACEWELL_GUARDED_BY(m_mutex) = 0;
    unsigned long long m_committed TRACEWELL_GUARDED_BY(m_mutex) = 0;
    std::size_t m_bytes TRACEWELL_GUARDED_BY(m_mutex) = 0;
    unsigned int m_sleepingWorkers TRACEWELL_GUARDED_BY(m_mutex) = 0;
    unsigned int m_waitingSubmitters TRACEWELL_GUARDED_BY(m_mutex) = 0;
    bool m_committing TRACEWELL_GUARDED_BY(m_mutex) = false;
    bool m_stop TRACEWELL_GUARDED_BY(m_mutex) = false;
    std::vector<std::thread> m_workers;
};

} // namespace Tracewell
