// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"
#include "WdbScalarTreeNode.h"
#include "WdbScalarTreeRecordImage.h"

#include <memory>

namespace Tracewell {

/// The read side of a tree with more than one record: walks the records and the dense subtrees of
/// the index as it was when the cursor was made.
class WdbScalarTreeCursor
{
public:
    /// `target` is a time since the tree's first event.
    WdbScalarTreeCursor(const WdbIBlockManager& records,
                        std::shared_ptr<const WdbScalarTreeNode> root, long long target,
                        long long resolution);

    /// Goes to the record that holds the target, or to a dense node above it. Once; a second call
    /// does nothing.
    void position();
    /// Goes to the next record or dense node.
    void advance();
    bool isAtEnd() const;

    /// True on a dense node, false on a record. Not at the end, nor any of the following.
    bool isDense() const { return m_path.top().node->isDense(m_resolution); }
    const WdbScalarTreeNode::Record& getRecord() const
    {
        return m_path.top().node->records[m_path.top().position];
    }
    /// The time from the tree's first event to the current record or node.
    long long getLengthBefore() const { return m_path.getLengthBefore(); }
    /// What a dense node covers.
    long long getTotal() const { return m_path.top().node->getTotal(); }
    /// Reads the current record into the cursor's buffer.
    const WdbScalarTreeRecordImage& readRecord();

private:
    const WdbIBlockManager* m_records;
    std::shared_ptr<const WdbScalarTreeNode> m_root;
    long long m_target;
    long long m_resolution;
    WdbScalarNodePath m_path;
    std::unique_ptr<WdbScalarTreeRecordImage> m_buffer;
    bool m_positioned = false;
};

} // namespace Tracewell
