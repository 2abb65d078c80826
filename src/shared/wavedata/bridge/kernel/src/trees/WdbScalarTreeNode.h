// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SaturatingTime.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace Tracewell {

/// A node of a scalar tree's index, which lives in memory only. No keys: a child is found by the
/// time from the subtree's first event on, through the cumulative lengths of the children. Closed
/// records cover the time axis without holes, so the lengths do too.
///
/// Only the right edge of an index changes. A reader that holds the root keeps everything below it
/// as it was: the writer copies a node that it does not own alone before it changes it.
class WdbScalarTreeNode
{
public:
    /// What the index knows of a record, so that one without much to draw need not be read.
    struct Record
    {
        long long block;
        long long firstTime;
        long long lastTime;
        /// With the distance to the next record's first time, unless the record is open.
        long long largestDiff;
        /// The largest of the other distances.
        long long secondDiff;
        /// The time in front of the largest one.
        long long gapStart;
        unsigned char gapStartValue;
        unsigned char lastValue;
    };

    explicit WdbScalarTreeNode(bool bottom) : isBottom(bottom) {}

    unsigned int getCount() const { return static_cast<unsigned int>(lengths.size()); }
    long long getTotal() const { return lengths.empty() ? 0 : lengths.back(); }
    long long getLengthBefore(unsigned int position) const
    {
        return position == 0 ? 0 : lengths[position - 1];
    }
    /// True when no gap of the subtree shows at the resolution: at most one pixel apart. A subtree
    /// without length is no stretch, whatever gap a value taken back has left behind in it.
    bool isDense(long long resolution) const
    {
        return resolution > 0 && largestDiff > 0 && resolution >= largestDiff && getTotal() > 0;
    }

    void add(const Record& record, long long length);
    void add(std::shared_ptr<WdbScalarTreeNode> node);
    /// After the last child changed: its length and its gap.
    void updateLast(long long length, long long diff);
    void removeLast();

    /// The children: of a bottom node the one, of any other node the other.
    std::vector<Record> records;
    std::vector<std::shared_ptr<WdbScalarTreeNode>> nodes;
    /// lengths[i] is the sum over the children 0 to i.
    std::vector<long long> lengths;
    long long largestDiff = 0;
    /// largestDiff before the last child was added, for when it is removed.
    long long previousLargestDiff = 0;
    bool isBottom;

private:
    void addLength(long long length, long long diff);
};

/// The way from the root down to a node, with the current child of each node.
class WdbScalarNodePath
{
public:
    struct Level
    {
        const WdbScalarTreeNode* node;
        /// Equal to the node's count past the end.
        unsigned int position;
    };

    bool isEmpty() const { return m_levels.empty(); }
    void clear() { m_levels.clear(); }
    void push(const WdbScalarTreeNode& node) { m_levels.push_back({&node, 0}); }
    void pop() { m_levels.pop_back(); }
    Level& top() { return m_levels.back(); }
    const Level& top() const { return m_levels.back(); }
    /// Pushes the child at the top's position.
    void pushChild() { push(*top().node->nodes[top().position]); }
    /// The time from the tree's first event to the current child.
    long long getLengthBefore() const;

private:
    std::vector<Level> m_levels;
};

} // namespace Tracewell
