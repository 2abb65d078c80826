// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

#include <atomic>
#include <memory>

namespace Tracewell {

/// What the walks that began together have read of the storage. Lists share no byte, so walks over
/// sound ones read no more than there is. Those that read twice as much go round in damage, with
/// nodes and entries without number that lead to the same bytes, and end.
class BlockWalkBudget
{
public:
    /// False once too much was read.
    bool take(const WdbIBlockManager& manager, unsigned long long bytes)
    {
        return take(m_bytesRead, manager, bytes);
    }
    /// The same for what is read when walks begin, which must not use up what the walks need.
    bool takeAtBegin(const WdbIBlockManager& manager, unsigned long long bytes)
    {
        return take(m_bytesReadAtBegin, manager, bytes);
    }

private:
    static bool take(std::atomic<unsigned long long>& taken, const WdbIBlockManager& manager,
                     unsigned long long bytes)
    {
        return manager.contains(0, (taken.fetch_add(bytes) + bytes) / 2);
    }

    // Walks of one scan run on several threads.
    std::atomic<unsigned long long> m_bytesRead{0};
    std::atomic<unsigned long long> m_bytesReadAtBegin{0};
};

/// Walks the blocks of one list. Needs the block manager and not the list.
class WdbEventBlockListIterator : public WdbIEventBlockIterator
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;

    /// `budget` is that of all walks of one call.
    WdbEventBlockListIterator(WdbIBlockManager& manager, EventBlockList& list,
                              std::shared_ptr<BlockWalkBudget> budget)
        : m_iterator(list.begin()), m_blockManager(&manager), m_baseAddress(list.getBaseAddress()),
          m_budget(std::move(budget)), m_nodesTaken(m_iterator.getNodesRead())
    {
        m_isOverlong =
            !m_budget->takeAtBegin(*m_blockManager, m_nodesTaken * sizeof(EventBlockList::Node));
        if (m_isOverlong) {
            m_blockManager->noteDamage(
                {WdbDamage::ListNode, list.getFirstNode(), 0, m_baseAddress});
        }
    }

    bool isEof() const override { return m_isOverlong || m_iterator.isEof(); }
    operator bool() const override { return !isEof(); }
    WdbIEventBlockIterator& operator++() override
    {
        if (!isEof()) {
            ++m_iterator;
            m_isBlockTaken = false;
            takeNodes();
        }
        return *this;
    }
    void getEventBlock(WdbEventBlock& block) override
    {
        block.setBaseAddress(m_baseAddress);
        if (!m_isBlockTaken && m_iterator.getSize() <= block.getMaxEventBlockSize()) {
            m_isBlockTaken = true;
            take(m_iterator.getSize());
        }
        // No block lies where the file begins.
        if (!isEof() && m_iterator.getHandle() == 0) {
            m_blockManager->noteDamage({WdbDamage::ListNode, 0, 0, m_baseAddress});
        }
        if (isEof()) {
            block.loadBlock(0, 0, *m_blockManager);
        } else {
            block.loadBlock(m_iterator.getHandle(), m_iterator.getSize(), *m_blockManager);
        }
    }

private:
    void takeNodes()
    {
        const unsigned long long nodes = m_iterator.getNodesRead();
        if (nodes != m_nodesTaken) {
            take((nodes - m_nodesTaken) * sizeof(EventBlockList::Node));
        }
        m_nodesTaken = nodes;
    }
    void take(unsigned long long bytes)
    {
        if (m_budget->take(*m_blockManager, bytes)) {
            return;
        }
        m_isOverlong = true;
        m_blockManager->noteDamage({WdbDamage::ListNode, m_iterator.getHandle(), 0, m_baseAddress});
    }

    EventBlockList::Iterator m_iterator;
    WdbIBlockManager* m_blockManager;
    long long m_baseAddress;
    std::shared_ptr<BlockWalkBudget> m_budget;
    unsigned long long m_nodesTaken;
    bool m_isBlockTaken = false;
    bool m_isOverlong = false;
};

} // namespace Tracewell
