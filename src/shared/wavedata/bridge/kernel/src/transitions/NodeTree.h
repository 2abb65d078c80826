#pragma once

#include "DataBlock.h"

#include <boost/thread/mutex.hpp>

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

    /// `onLimit` is called when a new chunk finds the memory gauge above its limit.
    explicit NodeTree(std::function<void()> onLimit);
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;

    /// Null for an object without a block.
    BTreeElem* findRoot(std::uint32_t id) const;
    /// All roots in the order of ids.
    std::vector<std::pair<std::uint32_t, BTreeElem*>> getRoots() const;
    bool isEmpty() const;

    /// A new node, owned by this object.
    BTreeElem* createBTreeElem();
    /// Room for a whole tree at once, owned by this object.
    BTreeElem* createBTreeElems(std::size_t count);
    /// Appends a leaf that has its final times and count.
    void insertNewBTreeNode(std::uint32_t id, BTreeElem* elem);
    /// Makes `root` the tree of the object.
    void setRoot(std::uint32_t id, BTreeElem* root);
    /// Frees all nodes.
    void clear();

    static void dumpTreeNode(std::ostream& out, const BTreeElem& elem);

private:
    BTreeElem* addANewLevel(BTreeElem* root, BTreeElem* elem);
    void addABranch(BTreeElem* root, BTreeElem* parent, BTreeElem* elem, int depth);

    std::function<void()> m_onLimit;
    /// Guards m_roots.
    mutable boost::mutex m_mutex;
    std::unordered_map<std::uint32_t, BTreeElem*> m_roots;
    std::vector<std::unique_ptr<BTreeElem[]>> m_elemChunks;
    int m_nextElem = kChunkElems;
    /// The one that m_nextElem counts in.
    BTreeElem* m_chunk = nullptr;
};

} // namespace Tracewell
