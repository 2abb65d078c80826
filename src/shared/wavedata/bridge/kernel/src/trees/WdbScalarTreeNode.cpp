// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarTreeNode.h"

namespace Tracewell {

void WdbScalarTreeNode::add(const Record& record, long long length)
{
    records.push_back(record);
    addLength(length, record.largestDiff);
}

void WdbScalarTreeNode::add(std::shared_ptr<WdbScalarTreeNode> node)
{
    nodes.push_back(std::move(node));
    addLength(nodes.back()->getTotal(), nodes.back()->largestDiff);
}

void WdbScalarTreeNode::updateLast(long long length, long long diff)
{
    lengths.back() = saturatingAdd(getLengthBefore(getCount() - 1), length);
    largestDiff = std::max(largestDiff, diff);
}

void WdbScalarTreeNode::removeLast()
{
    if (isBottom) {
        records.pop_back();
    } else {
        nodes.pop_back();
    }
    lengths.pop_back();
    largestDiff = previousLargestDiff;
}

void WdbScalarTreeNode::addLength(long long length, long long diff)
{
    lengths.push_back(saturatingAdd(getTotal(), length));
    previousLargestDiff = largestDiff;
    largestDiff = std::max(largestDiff, diff);
}

long long WdbScalarNodePath::getLengthBefore() const
{
    long long length = 0;
    for (const Level& level : m_levels) {
        length = saturatingAdd(length, level.node->getLengthBefore(level.position));
    }
    return length;
}

} // namespace Tracewell
