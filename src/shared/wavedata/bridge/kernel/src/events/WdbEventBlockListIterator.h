#pragma once

#include "WdbAppendingBlockList.h"
#include "WdbIEventBlockDatabase.h"

namespace Tracewell {

/// Walks the blocks of one list. Needs the block manager and not the list.
class WdbEventBlockListIterator : public WdbIEventBlockIterator
{
public:
    using EventBlockList = WdbAppendingBlockList<WdbEventBlock, 100>;

    WdbEventBlockListIterator(WdbIBlockManager& manager, EventBlockList& list)
        : m_iterator(list.begin()), m_blockManager(&manager), m_baseAddress(list.getBaseAddress())
    {}

    bool isEof() const override { return m_iterator.isEof(); }
    explicit operator bool() const override { return !m_iterator.isEof(); }
    WdbIEventBlockIterator& operator++() override
    {
        ++m_iterator;
        return *this;
    }
    void getEventBlock(WdbEventBlock& block) override
    {
        block.setBaseAddress(m_baseAddress);
        block.loadBlock(m_iterator.getHandle(), m_iterator.getSize(), *m_blockManager);
    }

private:
    EventBlockList::Iterator m_iterator;
    WdbIBlockManager* m_blockManager;
    long long m_baseAddress;
};

} // namespace Tracewell
