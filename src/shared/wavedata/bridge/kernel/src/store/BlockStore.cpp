// SPDX-License-Identifier: BSD-3-Clause

#include "BlockStore.h"

#include "Wrapping.h"

namespace Tracewell {

bool canSplit(WdbEventBlock& block)
{
    return block.size() > 1 || (*block.getIterator()).getValuelength() > 1;
}

void splitBlock(WdbEventBlock& block, WdbEventBlock& first, WdbEventBlock& second)
{
    WdbEventBlock::Iterator it = block.getIterator();
    const WdbEvent& event = *it;
    if (block.size() == 1) {
        const unsigned int half = event.getValuelength() / 2;
        first.addEvent(event.getTime(), event.getStartAddress(), half, event.getValue());
        second.addEvent(event.getTime(), advanceAddress(event.getStartAddress(), half),
                        event.getValuelength() - half, event.getValue() + half);
        return;
    }
    const unsigned int middle = block.size() / 2;
    for (; it; ++it) {
        WdbEvent& moved = *it;
        char* const record = block.getMemory() +
                             (reinterpret_cast<const char*>(moved.getValue()) - block.getMemory()) -
                             WdbEvent::kHeaderSize;
        (it.getIndex() < middle ? first : second).addEvent(record, moved.sizeofEvent());
    }
}

void compressBlock(WdbEventBlock& block, ImageCompressor& compressor,
                   StoredBlock<EventBlockList::Node::Entry>& out)
{
    forEachStoredPart(block, compressor, [&](const WdbEventBlock&) { out.add(compressor, {}); });
}

void compressBlock(WdbStringBlock& block, ImageCompressor& compressor,
                   StoredBlock<StringBlockList::Node::Entry>& out)
{
    if (block.isEmpty()) {
        return;
    }
    const unsigned int size = block.getMaxEventBlockSize();
    if (compressor.compress(block.getMemory(), size) || block.size() == 1) {
        StringBlockList::Node::Entry entry;
        entry.m_startId = block.getStartID();
        entry.m_count = block.size();
        out.add(compressor, entry);
        return;
    }
    WdbStringBlock first(size);
    WdbStringBlock second(size);
    const unsigned int middle = block.size() / 2;
    WdbStringBlockIterator it = block.getStringBlockIterator();
    for (unsigned int i = 0; it.hasNext(); ++i) {
        const StringBlockItem& item = it.next();
        (i < middle ? first : second).addString(item.id, item.text);
    }
    compressBlock(first, compressor, out);
    compressBlock(second, compressor, out);
}

} // namespace Tracewell
