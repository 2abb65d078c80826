#pragma once

#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

namespace Tracewell {

/// Walks the blocks of one list. Needs the block manager and not the list.
///
/// Blocks do not share bytes, so those of one list are together no longer than the storage. A walk
/// that loads twice as much goes round in damage, with entries without number that lead to the same
/// bytes, and ends.
class WdbEventBlockListIterator : public WdbIEventBlockIterator
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;

    WdbEventBlockListIterator(WdbIBlockManager& manager, EventBlockList& list)
        : m_iterator(list.begin()), m_blockManager(&manager), m_baseAddress(list.getBaseAddress())
    {}

    bool isEof() const override { return m_isOverlong || m_iterator.isEof(); }
    operator bool() const override { return !isEof(); }
    WdbIEventBlockIterator& operator++() override
    {
        if (!isEof()) {
            ++m_iterator;
            m_isCounted = false;
        }
        return *this;
    }
    void getEventBlock(WdbEventBlock& block) override
    {
        block.setBaseAddress(m_baseAddress);
        countBlock(block.getMaxEventBlockSize());
        if (isEof())
            block.loadBlock(0, 0, *m_blockManager);
        else
            block.loadBlock(m_iterator.getHandle(), m_iterator.getSize(), *m_blockManager);
    }

private:
    void countBlock(unsigned int largest)
    {
        if (m_isCounted || m_iterator.getSize() > largest)
            return;
        m_isCounted = true;
        m_loaded += m_iterator.getSize();
        m_isOverlong = !m_blockManager->contains(0, m_loaded / 2);
    }

    EventBlockList::Iterator m_iterator;
    WdbIBlockManager* m_blockManager;
    long long m_baseAddress;
    /// Stored bytes of the blocks up to this one.
    unsigned long long m_loaded = 0;
    bool m_isCounted = false;
    bool m_isOverlong = false;
};

} // namespace Tracewell
