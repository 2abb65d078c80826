#include "BlockStore.h"

#include "EventSection.h"

namespace Tracewell {

namespace {

/// A lone event of one byte always fits: its image is mostly zeros.
bool canSplit(const WdbEventBlock& block, const WdbEvent& first)
{
    return block.size() > 1 || first.getValuelength() > 1;
}

/// The first half of the events, or of the bytes of a lone event, goes to `first`.
void split(WdbEventBlock& block, WdbEventBlock& first, WdbEventBlock& second)
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

} // namespace

void compressBlock(WdbEventBlock& block, BlockCompressor& compressor,
                   StoredBlock<EventBlockList::Node::Entry>& out)
{
    if (block.isEmpty())
        return;
    block.fillHeader();
    const unsigned int size = block.getMaxEventBlockSize();
    if (compressor.compress(block.getMemory(), size) || !canSplit(block, *block.getIterator())) {
        out.add(compressor, {});
        return;
    }
    WdbEventBlock first(size, block.getBaseAddress());
    WdbEventBlock second(size, block.getBaseAddress());
    split(block, first, second);
    compressBlock(first, compressor, out);
    compressBlock(second, compressor, out);
}

void compressBlock(WdbStringBlock& block, BlockCompressor& compressor,
                   StoredBlock<StringBlockList::Node::Entry>& out)
{
    if (block.isEmpty())
        return;
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
