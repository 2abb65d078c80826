// SPDX-License-Identifier: BSD-3-Clause

#include "TreeSearch.h"

#include "BlockSearch.h"

namespace Tracewell {

namespace {

/// The leaf that answers for `time`; `choose` corrects the place that findChild gives for a node.
template <typename Choose> BTreeElem& descend(BTreeElem& elem, long long time, Choose choose)
{
    BTreeElem* node = &elem;
    while (!node->isLeaf()) {
        const std::vector<BTreeElem*>& children = *node->children;
        node = children[choose(children, findChild(*node, time))];
    }
    return *node;
}

} // namespace

std::size_t findChild(const BTreeElem& node, long long time)
{
    const std::vector<BTreeElem*>& children = *node.children;
    std::size_t begin = 0;
    std::size_t end = children.size();
    std::size_t middle = 0;
    while (begin < end) {
        middle = begin + (end - begin - 1) / 2;
        if (time < children[middle]->firstTime) {
            end = middle;
        } else if (time > children[middle]->lastTime) {
            begin = middle + 1;
        } else {
            break;
        }
    }
    return middle;
}

Transition getCurrentTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time)
{
    BTreeElem& leaf =
        descend(elem, time, [time](const std::vector<BTreeElem*>& children, std::size_t i) {
            return i > 0 && time < children[i]->firstTime ? i - 1 : i;
        });
    const TransitionBlockStore::Lease lease(blocks, leaf);
    return searchCurrent(BlockReader(leaf, leaf.count), time);
}

Transition getNextTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time)
{
    BTreeElem& leaf =
        descend(elem, time, [time](const std::vector<BTreeElem*>& children, std::size_t i) {
            return i + 1 < children.size() && time >= children[i]->lastTime ? i + 1 : i;
        });
    const TransitionBlockStore::Lease lease(blocks, leaf);
    return searchNext(BlockReader(leaf, leaf.count), time);
}

Transition getPrevTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time,
                             bool exactIsNone)
{
    BTreeElem& leaf = descend(
        elem, time, [time, exactIsNone](const std::vector<BTreeElem*>& children, std::size_t i) {
            const long long firstTime = children[i]->firstTime;
            return i > 0 && (time < firstTime || (time == firstTime && !exactIsNone)) ? i - 1 : i;
        });
    const TransitionBlockStore::Lease lease(blocks, leaf);
    return searchPrev(BlockReader(leaf, leaf.count), time, exactIsNone);
}

} // namespace Tracewell
