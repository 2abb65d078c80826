// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBase.h"
#include "DataBlock.h"
#include "FileIO.h"
#include "NodeTree.h"
#include "ThreadSafety.h"
#include "TransitionPool.h"
#include "WdbDamageLog.h"
#include "platform/DescriptorFile.h"

#include <functional>
#include <memory>
#include <string>

namespace Tracewell {

/// The blocks of all leaves, in memory or in the file, and the file. A mutex of its own guards the
/// pools, the file and, once a leaf is in a tree, its data and fileOffset. It is taken inside a
/// stripe and never the other way round.
class TransitionBlockStore
{
public:
    /// `damage` gets what is wrong with blocks that are read from the file; `tree` has their
    /// leaves.
    TransitionBlockStore(DataBaseMode mode, const std::string& fileName,
                         const DataBaseLimits& limits, const NodeTree& tree, WdbDamageLog& damage);

    /// Keeps the data of a leaf in memory, and every other thread out of the store, for as long as
    /// it lives: one at a time in a thread, without a call to the store beside it.
    class Lease
    {
    public:
        Lease(TransitionBlockStore& store, BTreeElem& leaf) : m_lock(store.m_mutex)
        {
            store.m_mutex.assertHeldBy(m_lock);
            store.fetch(leaf);
        }

    private:
        std::unique_lock<std::mutex> m_lock;
    };

    /// Gives a leaf that is in no tree yet a block of `bytes`, of unknown contents, and returns it.
    /// Writes the leaf that had it.
    std::uint32_t* allocate(BTreeElem& leaf, std::size_t bytes);
    /// Writes all blocks of a tree that are not in the file.
    void writeTree(BTreeElem& root);
    /// Called when a block could not be written, on the thread that met it.
    void setFailureHook(std::function<void()> hook) { m_failureHook = std::move(hook); }
    /// Looks at the first block of a tree of a Viewer: whether the object has no value before the
    /// time that the tree gives shows there.
    void checkStart(BTreeElem& root);
    /// Forgets all blocks and where they lie in the file.
    void reset();

    /// The file that is written, or read by a Viewer at its opening. The caller sees to it that
    /// nobody else is inside the store.
    FileIO& file() { return m_file; }
    const FileIO& file() const { return m_file; }
    const std::string& fileName() const { return m_fileName; }
    /// Opens the file in the mode's way if it is closed, and empties it; the position is then
    /// behind the header.
    bool openForWriting();
    /// Opens the file for reading blocks, so that a later file of its name does not matter.
    bool openForReading();

private:
    void fetch(BTreeElem& leaf) TRACEWELL_REQUIRES(m_mutex);
    void checkFetched(const BTreeElem& leaf, bool isRead) TRACEWELL_REQUIRES(m_mutex);
    bool isSound(const BTreeElem& leaf) TRACEWELL_REQUIRES(m_mutex);
    void takeOver(ListNode& node, BTreeElem& leaf) TRACEWELL_REQUIRES(m_mutex);
    void writeOneBlock(BTreeElem& leaf) TRACEWELL_REQUIRES(m_mutex);
    bool openReadBackFile() TRACEWELL_REQUIRES(m_mutex);
    TransitionPool& readBackPool() TRACEWELL_REQUIRES(m_mutex)
    {
        return m_readBackPool ? *m_readBackPool : m_blockPool;
    }

    const DataBaseMode m_mode;
    const std::string m_fileName;
    const NodeTree& m_tree;
    WdbDamageLog& m_damage;
    Mutex m_mutex;
    TransitionPool m_blockPool TRACEWELL_GUARDED_BY(m_mutex);
    /// Null but in a StoringReader.
    std::unique_ptr<TransitionPool> m_readBackPool TRACEWELL_GUARDED_BY(m_mutex);
    FileIO m_file;
    /// The same file with no position to disturb.
    DescriptorFile m_readBackFile TRACEWELL_GUARDED_BY(m_mutex);
    std::function<void()> m_failureHook;
};

} // namespace Tracewell
