// SPDX-License-Identifier: BSD-3-Clause

#include "DatabaseScan.h"

#include "IGuiStatus.h"
#include "ScanTargets.h"
#include "ThreadPool.h"
#include "ThreadSafety.h"
#include "WdbIEventBlockDatabase.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <limits>

namespace QSIM {

IGuiStatus::~IGuiStatus() = default;

} // namespace QSIM

namespace Tracewell {

namespace {

using Trees = std::vector<WdbScalarBTree*>;

constexpr unsigned int kBlocksPerReport = 1000;

/// The trees of one bucket, and walks over its blocks, all on the first one.
struct Bucket
{
    std::vector<std::shared_ptr<WdbIEventBlockIterator>> walks;
    Trees trees;
};

/// Each bucket gets `walks` walks, or as many as keep the whole at that number.
std::vector<Bucket> getBuckets(const WdbIEventBlockDatabase& database, const Trees& trees,
                               std::size_t walks)
{
    std::vector<Bucket> buckets;
    std::size_t made = 0;
    do {
        WdbIEventBlockDatabase::IteratorVector iterators;
        std::vector<Trees> treeLists;
        database.getEventBlockDatabaseIterator(trees, iterators, treeLists);
        buckets.resize(std::min(iterators.size(), treeLists.size()));
        for (std::size_t i = 0; i < buckets.size(); ++i) {
            buckets[i].walks.push_back(std::move(iterators[i]));
            buckets[i].trees = std::move(treeLists[i]);
        }
        made += buckets.size();
    } while (!buckets.empty() && made + buckets.size() <= walks);
    return buckets;
}

/// Fills the trees of one bucket by any number of threads: they unpack batches of blocks beside
/// each other, and take turns to append what they hold, so that the trees see the blocks in order.
class BucketScan
{
public:
    BucketScan(const Bucket& bucket, unsigned int blockSize)
        : m_targets(bucket.trees), m_blockSize(blockSize),
          m_batchSize(std::clamp(kBatchBytes / std::max(blockSize, 1u), 1u, kLargestBatch))
    {}

    /// One thread's part, by a walk of its own that stands on the first block.
    void run(WdbIEventBlockIterator& place)
    {
        try {
            std::vector<WdbEventBlock> blocks;
            blocks.reserve(m_batchSize);
            for (std::size_t position = 0;;) {
                const std::size_t batch = m_claimed++;
                for (; position < batch * m_batchSize && !place.isEof(); ++position) {
                    ++place;
                }
                std::size_t count = 0;
                for (; count < m_batchSize && !place.isEof(); ++count, ++position, ++place) {
                    if (count == blocks.size()) {
                        blocks.emplace_back(m_blockSize, 0);
                    }
                    place.getEventBlock(blocks[count]);
                }
                // Damage may end one walk before another, so an empty batch passes its turn as
                // well.
                if (!append(batch, blocks, count) || count == 0) {
                    return;
                }
            }
        } catch (...) {
            // Nobody may wait for this thread's turn to end.
            pass(kBroken);
            throw;
        }
    }

private:
    static constexpr unsigned int kLargestBatch = 8;
    /// What a thread may hold unpacked, but for a single block that is larger.
    static constexpr unsigned int kBatchBytes = 1u << 20;
    static constexpr std::size_t kBroken = std::numeric_limits<std::size_t>::max();

    /// False when another thread's batch is missing.
    bool append(std::size_t batch, const std::vector<WdbEventBlock>& blocks, std::size_t count)
    {
        {
            MutexLock lock(m_mutex);
            while (m_turn != batch && m_turn != kBroken) {
                lock.wait(m_turnPassed);
            }
            if (m_turn == kBroken) {
                return false;
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            m_targets.addBlock(blocks[i]);
        }
        pass(batch + 1);
        return true;
    }

    void pass(std::size_t batch)
    {
        {
            const MutexLock lock(m_mutex);
            if (m_turn != kBroken) {
                m_turn = batch;
            }
        }
        m_turnPassed.notify_all();
    }

    /// Whoever has the turn uses it, without the mutex.
    ScanTargets m_targets;
    const unsigned int m_blockSize;
    const std::size_t m_batchSize;
    std::atomic<std::size_t> m_claimed{0};
    Mutex m_mutex;
    std::condition_variable m_turnPassed;
    /// The batch whose turn it is.
    std::size_t m_turn TRACEWELL_GUARDED_BY(m_mutex) = 0;
};

/// Keeps a viewer's progress display, which may be absent, up to date.
class Progress
{
public:
    Progress(QSIM::IGuiStatus* status, const WdbIEventBlockDatabase& database,
             std::size_t treeCount)
        : m_status(status), m_latestTime(static_cast<double>(database.getLatestTime())),
          m_treeCount(static_cast<double>(treeCount))
    {}

    /// Within a bucket, in steps that a viewer can see.
    void reachTime(const Bucket& bucket, long long time)
    {
        if (!m_status || m_latestTime <= 0) {
            return;
        }
        const double part = std::clamp(static_cast<double>(time) / m_latestTime, 0.0, 1.0);
        const double percent = m_done + part * getShare(bucket);
        if (percent - m_status->getProgress() > 1.0) {
            m_status->setProgress(percent);
        }
    }

    void finish(const Bucket& bucket)
    {
        if (!m_status) {
            return;
        }
        m_done += getShare(bucket);
        m_status->setProgress(m_done);
    }

private:
    double getShare(const Bucket& bucket) const
    {
        return static_cast<double>(bucket.trees.size()) / m_treeCount * 100.0;
    }

    QSIM::IGuiStatus* m_status;
    double m_latestTime;
    double m_treeCount;
    double m_done = 0.0;
};

} // namespace

void scanDatabase(const WdbIEventBlockDatabase& database, const Trees& trees,
                  QSIM::IGuiStatus* status)
{
    WdbEventBlock block(database.getEventDatabaseHeader().m_maxEventBlockSize, 0);
    Progress progress(status, database, trees.size());
    for (const Bucket& bucket : getBuckets(database, trees, 1)) {
        ScanTargets targets(bucket.trees);
        unsigned int blocks = 0;
        for (WdbIEventBlockIterator& place = *bucket.walks.front(); !place.isEof(); ++place) {
            place.getEventBlock(block);
            targets.addBlock(block);
            if (++blocks % kBlocksPerReport == 0) {
                progress.reachTime(bucket, block.getStartTime());
            }
        }
        progress.finish(bucket);
    }
}

void scanDatabaseOnPool(const WdbIEventBlockDatabase& database, const Trees& trees,
                        QSIM::IGuiStatus* status)
{
    const unsigned int blockSize = database.getEventDatabaseHeader().m_maxEventBlockSize;
    Progress progress(status, database, trees.size());
    const std::vector<Bucket> buckets =
        getBuckets(database, trees, ThreadPool::getProcessorCount());
    std::deque<BucketScan> scans;
    for (const Bucket& bucket : buckets) {
        scans.emplace_back(bucket, blockSize);
    }

    // The pool goes first, also on the way of an exception, and with it all use of the buckets.
    ThreadPool pool(buckets.empty() ? 0 : buckets.size() * buckets.front().walks.size());
    std::vector<std::future<void>> futures;
    for (std::size_t i = 0; i < buckets.size(); ++i) {
        for (const auto& walk : buckets[i].walks) {
            futures.push_back(pool.submit([&scan = scans[i], &walk] { scan.run(*walk); }));
        }
    }
    auto future = futures.begin();
    for (const Bucket& bucket : buckets) {
        for (std::size_t i = 0; i < bucket.walks.size(); ++i) {
            (future++)->get();
        }
        progress.finish(bucket);
    }
}

} // namespace Tracewell
