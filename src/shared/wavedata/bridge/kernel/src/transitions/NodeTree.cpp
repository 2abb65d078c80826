// SPDX-License-Identifier: BSD-3-Clause

#include "NodeTree.h"

#include <algorithm>
#include <functional>
#include <ostream>

namespace Tracewell {

namespace {

/// How much of the memory for nodes is used, from 0 to 1. Nothing limits it on this system.
double readMemoryGauge()
{
    return 0.0;
}

/// Of the path of first children, the node itself counted.
int countLevels(const BTreeElem* node)
{
    int levels = 1;
    for (; !node->isLeaf(); node = node->children->front()) {
        ++levels;
    }
    return levels;
}

void appendChild(BTreeElem& parent, BTreeElem* child)
{
    if (!parent.children) {
        parent.children = std::make_unique<std::vector<BTreeElem*>>();
    }
    parent.children->push_back(child);
}

void updateParentElem(BTreeElem* root, const BTreeElem& elem)
{
    for (BTreeElem* node = root; !node->isLeaf(); node = node->children->back()) {
        node->lastTime = elem.lastTime;
        node->largestDiff = std::max(node->largestDiff, elem.largestDiff);
    }
}

} // namespace

NodeTree::NodeTree(std::function<void()> onLimit, WdbDamageLog& damage)
    : m_onLimit(std::move(onLimit)), m_damage(damage)
{}

BTreeElem* NodeTree::findRoot(std::uint32_t id) const
{
    const MutexLock lock(m_mutex);
    if (!m_damaged.empty()) {
        const auto damaged = m_damaged.find(id);
        if (damaged != m_damaged.end()) {
            m_damage.note(damaged->second);
        }
    }
    const auto found = m_roots.find(id);
    return found == m_roots.end() ? nullptr : found->second;
}

std::vector<std::pair<std::uint32_t, BTreeElem*>> NodeTree::getRoots() const
{
    std::vector<std::pair<std::uint32_t, BTreeElem*>> roots;
    {
        const MutexLock lock(m_mutex);
        roots.assign(m_roots.begin(), m_roots.end());
    }
    std::sort(roots.begin(), roots.end());
    return roots;
}

BTreeElem* NodeTree::createBTreeElem()
{
    if (m_nextElem == kChunkElems) {
        m_chunk = createBTreeElems(kChunkElems);
        m_nextElem = 0;
        if (readMemoryGauge() > kGaugeLimit) {
            m_onLimit();
        }
    }
    return &m_chunk[m_nextElem++];
}

BTreeElem* NodeTree::createBTreeElems(std::size_t count)
{
    m_elemChunks.push_back({std::make_unique<BTreeElem[]>(count), count});
    return m_elemChunks.back().elems.get();
}

const BTreeElem* NodeTree::findLeafBefore(const BTreeElem& leaf) const
{
    const std::less<> isBefore;
    for (const auto& [elems, count] : m_elemChunks) {
        const BTreeElem* const first = elems.get();
        if (isBefore(&leaf, first) || !isBefore(&leaf, first + count)) {
            continue;
        }
        // Trees of a single node share a chunk, in which no node has children.
        const BTreeElem* const before = &leaf - 1;
        return first->isLeaf() || !before->isLeaf() ? nullptr : before;
    }
    return nullptr;
}

void NodeTree::insertNewBTreeNode(std::uint32_t id, BTreeElem* elem)
{
    BTreeElem* const root = findRoot(id);
    if (!root) {
        setRoot(id, elem);
        return;
    }
    elem->largestDiff = std::max(elem->largestDiff, elem->firstTime - root->lastTime);

    const BTreeElem* spine = root;
    while (!spine->isLeaf() && spine->count >= kMaxBlockCount) {
        spine = spine->children->back();
    }
    if (spine->isLeaf()) {
        setRoot(id, addANewLevel(root, elem));
        return;
    }

    BTreeElem* current = root;
    BTreeElem* parent = nullptr;
    for (;;) {
        const int levels = countLevels(current);
        if (levels == 2 && current->children->size() < kMaxBlockCount) {
            current->children->push_back(elem);
            ++current->count;
            updateParentElem(root, *elem);
            return;
        }
        while (!current->isLeaf() && current->count >= kMaxBlockCount) {
            current = current->children->back();
        }
        if (current->isLeaf()) {
            addABranch(root, parent, elem, levels);
            return;
        }
        parent = current;
        current = current->children->back();
    }
}

BTreeElem* NodeTree::addANewLevel(BTreeElem* root, BTreeElem* elem)
{
    const int levels = countLevels(root);
    BTreeElem* const newRoot = createBTreeElem();
    newRoot->firstTime = root->firstTime;
    newRoot->lastTime = elem->lastTime;
    newRoot->largestDiff = std::max(root->largestDiff, elem->largestDiff);
    newRoot->flags = elem->flags;
    newRoot->count = 2;
    appendChild(*newRoot, root);
    addABranch(newRoot, newRoot, elem, levels);
    return newRoot;
}

// The count of `parent` stays: a root of three levels has two counted children for ever, so it
// never reads as full and takes any number of children instead of a fourth level.
void NodeTree::addABranch(BTreeElem* root, BTreeElem* parent, BTreeElem* elem, int depth)
{
    for (int level = 1; level < depth; ++level) {
        BTreeElem* const node = createBTreeElem();
        node->firstTime = elem->firstTime;
        node->lastTime = elem->lastTime;
        node->largestDiff = elem->largestDiff;
        node->flags = elem->flags;
        node->count = 1;
        appendChild(*parent, node);
        parent = node;
    }
    appendChild(*parent, elem);
    updateParentElem(root, *elem);
}

void NodeTree::setRoot(std::uint32_t id, BTreeElem* root)
{
    const MutexLock lock(m_mutex);
    m_roots[id] = root;
}

void NodeTree::setDamaged(std::uint32_t id, const WdbDamage& damage)
{
    const MutexLock lock(m_mutex);
    m_damaged.emplace(id, damage);
}

void NodeTree::clear()
{
    const MutexLock lock(m_mutex);
    m_roots.clear();
    m_damaged.clear();
    m_elemChunks.clear();
    m_nextElem = kChunkElems;
    m_chunk = nullptr;
}

void NodeTree::dumpTreeNode(std::ostream& out, const BTreeElem& elem)
{
    out << "Start Time: " << elem.firstTime << '\n'
        << "End Time: " << elem.lastTime << '\n'
        << "Largest Time Difference: " << elem.largestDiff << '\n'
        << "Number Of Element: " << elem.count << '\n'
        << "Block Offset: " << elem.fileOffset << '\n';
    if (!elem.isLeaf()) {
        for (const BTreeElem* const child : *elem.children) {
            dumpTreeNode(out, *child);
        }
    }
}

} // namespace Tracewell
