// SPDX-License-Identifier: BSD-3-Clause

#include "DrawingFilter.h"

#include "TreeSearch.h"

namespace Tracewell {

void DrawingFilter::collectTransitions(BTreeElem& elem, bool markEnd)
{
    if (m_minDelta < elem.largestDiff || elem.largestDiff < 1) {
        if (elem.isLeaf()) {
            const TransitionBlockStore::Lease lease(m_blocks, elem);
            processTransition(BlockReader(elem, elem.count), elem.lastTime);
            return;
        }
        const std::vector<BTreeElem*>& children = *elem.children;
        for (std::size_t i = findChild(elem, m_from);
             i < children.size() && children[i]->firstTime <= m_to; ++i) {
            collectTransitions(*children[i], false);
        }
        return;
    }
    const bool isLater = m_out.empty() || elem.firstTime > m_out.back().time;
    if (!m_out.empty()) {
        Transition& last = m_out.back();
        if (elem.lastTime <= last.time) {
            return;
        }
        if (last.value.getType() == ValueDense) {
            last.time = std::min(elem.lastTime, BlockReader::advance(m_to, -1));
            return;
        }
    }
    if (isLater) {
        m_out.push_back(getCurrentTransition(m_blocks, elem, elem.firstTime));
    }
    markLast();
    m_out.push_back(getCurrentTransition(m_blocks, elem, std::min(elem.lastTime, m_to)));
    if (markEnd) {
        markLast();
    }
}

bool DrawingFilter::unmarkLast()
{
    if (m_out.empty() || m_out.back().value.getType() != ValueDense) {
        return false;
    }
    m_out.back().value.unmarkDense(m_denseType);
    return true;
}

void DrawingFilter::markLast()
{
    Value& value = m_out.back().value;
    if (value.getType() != ValueDense) {
        m_denseType = value.getType() != ValueNone ? value.getType() : m_kind;
    }
    value.markDense();
}

} // namespace Tracewell
