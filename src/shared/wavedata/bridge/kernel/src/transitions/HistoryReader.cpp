// SPDX-License-Identifier: BSD-3-Clause

#include "HistoryReader.h"

#include <algorithm>

namespace Tracewell {

void HistoryReader::readTree(BTreeElem& elem)
{
    if (elem.isLeaf()) {
        const TransitionBlockStore::Lease lease(m_blocks, elem);
        read(BlockReader(elem, elem.count));
        return;
    }
    // By the ends, which ascend even where blocks begin with the initial value once more.
    const std::vector<BTreeElem*>& children = *elem.children;
    auto child = std::lower_bound(
        children.begin(), children.end(), m_from,
        [](const BTreeElem* node, long long from) { return node->lastTime < from; });
    for (; child != children.end() && !m_isDone; ++child) {
        readTree(**child);
    }
}

void HistoryReader::readInitial(const Transition& initial)
{
    if (initial.value.getType() != ValueNone && initial.time <= m_to && wants(initial.time) &&
        makeRoom()) {
        m_out.push_back(initial);
    }
}

} // namespace Tracewell
