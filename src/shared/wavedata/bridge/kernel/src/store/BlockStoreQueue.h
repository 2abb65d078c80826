#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
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
    void submit(StoreTask& task, std::size_t bytes);
    /// Waits until all that was submitted is committed.
    void drain();

private:
    struct Slot
    {
        StoreTask* task = nullptr;
        std::size_t bytes = 0;
        bool compressed = false;
    };

    static constexpr std::size_t kMaxTasks = 1024;

    Slot& slotOf(unsigned long long number) { return m_ring[number % kMaxTasks]; }
    bool hasRoom(std::size_t bytes) const;
    bool isHalfEmpty() const;
    void work();
    void commitReadyTasks(std::unique_lock<std::mutex>& lock);

    const std::size_t m_maxBytes;
    /// Guards everything below but the threads; not held while a task runs.
    std::mutex m_mutex;
    std::condition_variable m_workToDo;
    std::condition_variable m_roomMade;
    std::condition_variable m_allCommitted;
    std::vector<Slot> m_ring;
    // Tasks are numbered in the order of submission: committed <= claimed <= submitted.
    unsigned long long m_submitted = 0;
    unsigned long long m_claimed = 0;
    unsigned long long m_committed = 0;
    std::size_t m_bytes = 0;
    unsigned int m_sleepingWorkers = 0;
    unsigned int m_waitingSubmitters = 0;
    bool m_committing = false;
    bool m_stop = false;
    std::vector<std::thread> m_workers;
};

} // namespace Tracewell
