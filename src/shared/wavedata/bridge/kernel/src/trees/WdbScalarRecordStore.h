// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbIBlockManager.h"
#include "WdbScalarTreeNode.h"
#include "WdbScalarTreeRecord.h"
#include "WdbScalarTreeRecordImage.h"

#include <memory>

namespace Tracewell {

/// The write side of a tree with more than one record: where its open record was stored, and the
/// index over all stored ones. Grows at the right edge only.
class WdbScalarRecordStore
{
public:
    /// Index nodes take `fanOut` children. `records` must outlive the store.
    WdbScalarRecordStore(WdbIBlockManager& records, unsigned int fanOut);

    /// Stores the open record if it changed since the last time, and tells the index.
    void saveRecord(WdbScalarTreeRecord& record);
    /// The record saved last is complete; the next save stores a new one.
    void closeRecord();
    /// The open record lost its last value: takes it out of the index again.
    void dropRecord();
    /// The open record is empty and gets its first value. A value taken back in the meantime may
    /// have left the last closed record with a reach that ends before this one.
    void extendClosedRecord(long long nextTime);
    /// For an open record without a value: the last closed one holds the last value.
    void updateClosedRecord(unsigned char value);

    const std::shared_ptr<WdbScalarTreeNode>& getRoot() const { return m_root; }

private:
    void readRecord(long long block, WdbScalarTreeRecordImage& image) const;

    WdbIBlockManager* m_records;
    unsigned int m_fanOut;
    std::shared_ptr<WdbScalarTreeNode> m_root;
    /// Where the open record is stored, if it is.
    long long m_block = 0;
    bool m_isSaved = false;
};

} // namespace Tracewell
