// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"
#include "ThreadSafety.h"
#include "WdbDamageLog.h"

#include <functional>
#include <iosfwd>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Tracewell {

/// The trees of all objects. The tree of an object is guarded by the stripe of its id; which
/// objects have one is guarded here.
class NodeTree
{
public:
    static constexpr int kChunkElems = 1000;
    static constexpr double kGaugeLimit = 0.95;

    /// `onLimit` is called when a new chunk finds the memory gauge above its limit. `damage` gets
    /// what is wrong with a tree when somebody looks for it.
    NodeTree(std::function<void()> onLimit, WdbDamageLog& damage);
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;

    /// Null for an object without a block.
    BTreeElem* findRoot(std::uint32_t id) const;
    /// All roots in the order of ids.
    std::vector<std::pair<std::uint32_t, BTreeElem*>> getRoots() const;
    bool isEmpty() const;

    /// A new node, owned by this object.
    BTreeElem* createBTreeElem();
    /// Room for a whole tree at once, owned by this object. Its nodes lie there in the order of the
    /// records in a file.
    BTreeElem* createBTreeElems(std::size_t count);
    /// The leaf before one of a tree that came from a file; null for the first one. Looks through
    /// all trees, so it is for leaves that turn out to be damaged.
    const BTreeElem* findLeafBefore(const BTreeElem& leaf) const;
    /// Appends a leaf that has its final times and count.
    void insertNewBTreeNode(std::uint32_t id, BTreeElem* elem);
    /// Makes `root` the tree of the object.
    void setRoot(std::uint32_t id, BTreeElem* root);
    /// Says that the object's tree came from the file damaged. Of several such things, the first
    /// one counts.
    void setDamaged(std::uint32_t id, const WdbDamage& damage);
    void clear();

    static void dumpTreeNode(std::ostream& out, const BTreeElem& elem);

private:
    BTreeElem* addANewLevel(BTreeElem* root, BTreeElem* elem);
    void addABranch(BTreeElem* root, BTreeElem* parent, BTreeElem* elem, int depth);

    std::function<void()> m_onLimit;
    WdbDamageLog& m_damage;
    mutable Mutex m_mutex;
    std::unordered_map<std::uint32_t, BTreeElem*> m_roots TRACEWELL_GUARDED_BY(m_mutex);
    std::unordered_map<std::uint32_t, WdbDamage> m_damaged TRACEWELL_GUARDED_BY(m_mutex);
    struct Chunk
    {
        std::unique_ptr<BTreeElem[]> elems;
        std::size_t count;
    };
    std::vector<Chunk> m_elemChunks;
    int m_nextElem = kChunkElems;
    /// The one that m_nextElem counts in.
    BTreeElem* m_chunk = nullptr;
};

} // namespace Tracewell
