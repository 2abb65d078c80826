// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "BlockStoreQueue.h"
#include "ImageCompressor.h"
#include "StoreFailure.h"
#include "ThreadSafety.h"
#include "WdbAppendingBlockList.h"
#include "WdbAppendingStringBlockList.h"
#include "WdbEventBlock.h"
#include "WdbStringBlock.h"

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tracewell {

using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;
using StringBlockList = WdbAppendingStringBlockList<WdbStringBlock, 100>;

/// The stored form of one block: zlib streams back to back, and an entry without a handle for
/// each. More than one only where the content does not compress: a stream that would have to be
/// cut gives way to the streams of the block's two halves, so that nothing is lost.
template <class Entry> struct StoredBlock
{
    void clear()
    {
        m_bytes.clear();
        m_entries.clear();
    }
    void add(const ImageCompressor& compressor, Entry entry)
    {
        entry.m_size = compressor.size();
        m_bytes.insert(m_bytes.end(), compressor.data(), compressor.data() + compressor.size());
        m_entries.push_back(entry);
    }

    std::vector<char> m_bytes;
    std::vector<Entry> m_entries;
};

/// Whether two blocks can take the place of the block: one event of one byte is as short as it
/// gets.
bool canSplit(WdbEventBlock& block);
/// The first half of the events, or of the bytes of a lone event, goes to `first`.
void splitBlock(WdbEventBlock& block, WdbEventBlock& first, WdbEventBlock& second);

/// Calls `store(part)` for the blocks as which the block is stored, in order, with the part's
/// stored form in `compressor`: once for a block whose stored form fits, never for an empty one.
template <class Store>
void forEachStoredPart(WdbEventBlock& block, ImageCompressor& compressor, const Store& store)
{
    if (block.isEmpty()) {
        return;
    }
    block.fillHeader();
    const unsigned int size = block.getMaxEventBlockSize();
    if (compressor.compress(block.getMemory(), size) || !canSplit(block)) {
        store(block);
        return;
    }
    WdbEventBlock first(size, block.getBaseAddress());
    WdbEventBlock second(size, block.getBaseAddress());
    splitBlock(block, first, second);
    forEachStoredPart(first, compressor, store);
    forEachStoredPart(second, compressor, store);
}

/// Appends the block's stored form. Nothing is appended for an empty block.
void compressBlock(WdbEventBlock& block, ImageCompressor& compressor,
                   StoredBlock<EventBlockList::Node::Entry>& out);
void compressBlock(WdbStringBlock& block, ImageCompressor& compressor,
                   StoredBlock<StringBlockList::Node::Entry>& out);

/// How a database's full blocks reach the file: on the calling thread, or through a queue.
///
/// A block and its task change places with the block that fills next, so in the steady state
/// nothing is allocated. One thread at a time; the queue's workers stay inside the tasks.
template <class Block, class List> class BlockStore
{
public:
    explicit BlockStore(WdbIBlockManager& manager) : m_manager(manager) {}
    BlockStore(const BlockStore&) = delete;
    BlockStore& operator=(const BlockStore&) = delete;
    ~BlockStore() { drain(); }

    void setQueue(std::shared_ptr<BlockStoreQueue> queue)
    {
        drain();
        m_queue = std::move(queue);
    }

    /// Closes the list's open item and brings it into the file and into the list, in the order of
    /// the calls; with a queue, some time before drain returns.
    void storeOpenItem(List& list)
    {
        Task& task = takeTask();
        task.m_list = &list;
        if (task.m_block) {
            rebase(*task.m_block, list);
        }
        task.m_block = list.takeOpenItem(std::move(task.m_block));
        if (m_queue) {
            m_queue->submit(task, task.m_block->getMaxEventBlockSize());
            return;
        }
        if (!m_compressor) {
            m_compressor = std::make_unique<ImageCompressor>();
        }
        task.compress(*m_compressor);
        task.commit();
    }

    void drain()
    {
        if (m_queue) {
            m_queue->drain();
        }
    }

private:
    class Task : public StoreTask
    {
    public:
        explicit Task(BlockStore& store) : m_store(&store) {}

        void compress(ImageCompressor& compressor) override
        {
            m_stored.clear();
            if (m_store->m_manager.isBroken()) {
                return;
            }
            guardStoring(m_store->m_manager, kBlockClass,
                         [&] { compressBlock(*m_block, compressor, m_stored); });
        }

        void commit() override
        {
            guardStoring(m_store->m_manager, kBlockClass, [&] {
                const char* bytes = m_stored.m_bytes.data();
                for (auto& entry : m_stored.m_entries) {
                    entry.m_handle = m_store->m_manager.addBlock(bytes, entry.m_size);
                    addEntry(*m_list, entry);
                    bytes += entry.m_size;
                }
                m_block->clear();
                const MutexLock lock(m_store->m_mutex);
                m_store->m_freeTasks.push_back(this);
            });
        }

        List* m_list = nullptr;
        /// Full on its way to the file, empty in a free task, null in a new one.
        std::unique_ptr<Block> m_block;

    private:
        BlockStore* m_store;
        StoredBlock<typename List::Node::Entry> m_stored;
    };

    static constexpr const char* kBlockClass =
        std::is_same_v<Block, WdbEventBlock> ? "WdbEventBlock" : "WdbStringBlock";

    static void rebase(WdbEventBlock& block, const List& list)
    {
        block.setBaseAddress(list.getBaseAddress());
    }
    static void rebase(WdbStringBlock& /*block*/, const List& /*list*/) {}

    static void addEntry(EventBlockList& list, const EventBlockList::Node::Entry& entry)
    {
        list.addEntry(entry.m_handle, entry.m_size);
    }
    static void addEntry(StringBlockList& list, const StringBlockList::Node::Entry& entry)
    {
        list.addEntry(entry.m_handle, entry.m_startId, entry.m_size, entry.m_count);
    }

    Task& takeTask()
    {
        const MutexLock lock(m_mutex);
        if (m_freeTasks.empty()) {
            m_tasks.push_back(std::make_unique<Task>(*this));
            m_freeTasks.reserve(m_tasks.size());
            return *m_tasks.back();
        }
        Task* const task = m_freeTasks.back();
        m_freeTasks.pop_back();
        return *task;
    }

    WdbIBlockManager& m_manager;
    std::shared_ptr<BlockStoreQueue> m_queue;
    /// Made at first use, and only without a queue.
    std::unique_ptr<ImageCompressor> m_compressor;
    std::vector<std::unique_ptr<Task>> m_tasks;
    Mutex m_mutex;
    /// The storing thread takes, a worker gives back.
    std::vector<Task*> m_freeTasks TRACEWELL_GUARDED_BY(m_mutex);
};

} // namespace Tracewell
