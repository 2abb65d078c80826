#include "DatabaseScan.h"

#include "IGuiStatus.h"
#include "ScanTargets.h"
#include "ThreadPool.h"
#include "WdbIEventBlockDatabase.h"

#include <algorithm>

namespace QSIM {

IGuiStatus::~IGuiStatus() = default;

} // namespace QSIM

namespace Tracewell {

namespace {

using Trees = std::vector<WdbScalarBTree*>;

constexpr unsigned int kBlocksPerReport = 1000;

/// The trees of one bucket, and the walk over its blocks.
struct Bucket
{
    std::shared_ptr<WdbIEventBlockIterator> blocks;
    Trees trees;
};

std::vector<Bucket> getBuckets(const WdbIEventBlockDatabase& database, const Trees& trees)
{
    WdbIEventBlockDatabase::IteratorVector iterators;
    std::vector<Trees> treeLists;
    database.getEventBlockDatabaseIterator(trees, iterators, treeLists);
    std::vector<Bucket> buckets(std::min(iterators.size(), treeLists.size()));
    for (std::size_t i = 0; i < buckets.size(); ++i)
        buckets[i] = {std::move(iterators[i]), std::move(treeLists[i])};
    return buckets;
}

/// Walks the bucket's blocks; `afterBlock(block)` follows each.
template <class AfterBlock>
void fillTrees(const Bucket& bucket, unsigned int blockSize, AfterBlock afterBlock)
{
    ScanTargets targets(bucket.trees);
    if (targets.isEmpty())
        return;
    WdbEventBlock block(blockSize, 0);
    for (WdbIEventBlockIterator& place = *bucket.blocks; !place.isEof(); ++place) {
        place.getEventBlock(block);
        targets.addBlock(block);
        afterBlock(block);
    }
}

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
        if (!m_status || m_latestTime <= 0)
            return;
        const double part = std::clamp(static_cast<double>(time) / m_latestTime, 0.0, 1.0);
        const double percent = m_done + part * getShare(bucket);
        if (percent - m_status->getProgress() > 1.0)
            m_status->setProgress(percent);
    }

    void finish(const Bucket& bucket)
    {
        if (!m_status)
            return;
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
    const unsigned int blockSize = database.getEventDatabaseHeader().m_maxEventBlockSize;
    Progress progress(status, database, trees.size());
    for (const Bucket& bucket : getBuckets(database, trees)) {
        unsigned int blocks = 0;
        fillTrees(bucket, blockSize, [&](const WdbEventBlock& block) {
            if (++blocks % kBlocksPerReport == 0)
                progress.reachTime(bucket, block.getStartTime());
        });
        progress.finish(bucket);
    }
}

void scanDatabaseOnPool(const WdbIEventBlockDatabase& database, const Trees& trees,
                        QSIM::IGuiStatus* status)
{
    const unsigned int blockSize = database.getEventDatabaseHeader().m_maxEventBlockSize;
    Progress progress(status, database, trees.size());
    const std::vector<Bucket> buckets = getBuckets(database, trees);

    // The pool goes first, also on the way of an exception, and with it all use of the buckets.
    ThreadPool pool(buckets.size());
    std::vector<std::future<void>> futures;
    for (const Bucket& bucket : buckets)
        futures.push_back(pool.submit(
            [&bucket, blockSize] { fillTrees(bucket, blockSize, [](const WdbEventBlock&) {}); }));
    for (std::size_t i = 0; i < buckets.size(); ++i) {
        futures[i].get();
        progress.finish(buckets[i]);
    }
}

} // namespace Tracewell
