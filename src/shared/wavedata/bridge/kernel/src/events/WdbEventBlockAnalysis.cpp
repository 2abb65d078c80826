// What a block knows about its events as a whole: repeats, distances in time, touched addresses.

#include "WdbEventBlock.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace Tracewell {

namespace {

/// The events of one block by time, address and length. The address is taken relative to the
/// block's base, so the 16 bytes before the value are the key. A slot holds an event's index plus
/// 1, or 0.
class EventTable
{
public:
    /// `slots` are zero; `count`, a power of two, is above the number of events to come.
    EventTable(unsigned int* slots, unsigned int count) : m_slots(slots), m_mask(count - 1) {}

    /// The slot of the event that equals `record` or, if there is none, a free one.
    template <class RecordAt> unsigned int& find(const char* record, const RecordAt& recordAt) const
    {
        for (std::size_t place = hash(record);; ++place) {
            unsigned int& slot = m_slots[place & m_mask];
            if (slot == 0 || std::memcmp(recordAt(slot - 1), record, WdbEvent::kHeaderSize) == 0)
                return slot;
        }
    }

private:
    static std::size_t hash(const char* record)
    {
        std::uint64_t time;
        std::uint64_t place;
        std::memcpy(&time, record, 8);
        std::memcpy(&place, record + 8, 8);
        const std::uint64_t mixed = (time * 0x9e3779b97f4a7c15u ^ place) * 0xd6e8feb86659fd93u;
        return static_cast<std::size_t>(mixed >> 32);
    }

    unsigned int* m_slots;
    std::size_t m_mask;
};

/// The index of the last event that is looked at while no repeat was found.
constexpr unsigned int kGiveUpIndex = 101;

} // namespace

void WdbEventBlock::filterOutRepeatedValue()
{
    const auto recordAt = [this](unsigned int index) {
        return static_cast<const char*>(m_memory.get()) + m_offsets[index];
    };
    const unsigned int count = size();

    // Most blocks end here, so the first events get a small table.
    unsigned int first = 0;
    {
        std::array<unsigned int, 256> slots{};
        const EventTable table(slots.data(), static_cast<unsigned int>(slots.size()));
        const unsigned int end = std::min(count, kGiveUpIndex + 1);
        for (; first < end; ++first) {
            unsigned int& slot = table.find(recordAt(first), recordAt);
            if (slot != 0)
                break;
            slot = first + 1;
        }
        if (first == end)
            return;
    }

    // Offset 0 marks an event that a later one repeats.
    static thread_local std::vector<unsigned int> slots;
    unsigned int slotCount = 256;
    while (slotCount < 2 * count)
        slotCount *= 2;
    slots.assign(slotCount, 0);
    const EventTable table(slots.data(), slotCount);
    for (unsigned int i = 0; i < count; ++i) {
        unsigned int& slot = table.find(recordAt(i), recordAt);
        if (slot != 0)
            m_offsets.setData(slot - 1, 0);
        slot = i + 1;
    }

    unsigned int kept = 0;
    unsigned int end = kHeaderSize;
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int offset = m_offsets[i];
        if (offset == 0)
            continue;
        const unsigned int length = eventAt(i).sizeofEvent();
        std::memmove(m_memory.get() + end, m_memory.get() + offset, length);
        m_offsets.setData(kept++, end);
        end += length;
    }
    for (unsigned int i = kept; i < count; ++i)
        m_offsets.setData(i, 0);
    m_offsets.setSize(kept);
    std::memset(m_memory.get() + end, 0, m_currentSize - end);
    m_currentSize = end;
    writeHeader({0, 0, 0});
}

namespace {

/// Calls `touch(offset, time)` for each byte of the event, with its offset from the base.
template <class Touch>
void forEachOffset(const WdbEvent& event, long long baseAddress, const Touch& touch)
{
    const unsigned int start =
        static_cast<unsigned int>(event.getStartAddress()) - static_cast<unsigned int>(baseAddress);
    const unsigned int length = event.getValuelength();
    if (start >= WdbEventBlock::kKeyAddresses || length > WdbEventBlock::kKeyAddresses - start)
        throw std::out_of_range("event outside the bucket");
    for (unsigned int offset = start; offset < start + length; ++offset)
        touch(offset, event.getTime());
}

long long subtract(long long later, long long earlier)
{
    return static_cast<long long>(static_cast<unsigned long long>(later) -
                                  static_cast<unsigned long long>(earlier));
}

void setInKey(unsigned char* key, unsigned int offset)
{
    key[offset / 8] = static_cast<unsigned char>(key[offset / 8] | 1u << offset % 8);
}

} // namespace

void WdbEventBlock::getLargestDiffAndKey(long long baseAddress, long long& diff,
                                         unsigned char* key) const
{
    struct Touched
    {
        bool seen = false;
        bool seenTwice = false;
        long long lastTime = 0;
        long long largestDiff = 0;
    };
    std::array<Touched, kKeyAddresses> table{};

    for (unsigned int i = 0; i < size(); ++i) {
        forEachOffset(eventAt(i), baseAddress, [&](unsigned int offset, long long time) {
            Touched& entry = table[offset];
            if (entry.seen) {
                entry.largestDiff = std::max(entry.largestDiff, subtract(time, entry.lastTime));
                entry.seenTwice = true;
            }
            entry.seen = true;
            entry.lastTime = time;
        });
    }

    std::fill_n(key, kKeySize, static_cast<unsigned char>(0));
    diff = 0;
    bool oneTouchedOnce = false;
    for (unsigned int offset = 0; offset < kKeyAddresses; ++offset) {
        const Touched& entry = table[offset];
        if (!entry.seen)
            continue;
        setInKey(key, offset);
        oneTouchedOnce |= !entry.seenTwice;
        diff = std::max(diff, entry.largestDiff);
    }
    // Its previous change lies before this block, at an unknown distance.
    if (oneTouchedOnce)
        diff = subtract(eventAt(size() - 1).getTime(), eventAt(0).getTime());
}

long long WdbEventBlock::getLargestDiff(long long baseAddress) const
{
    long long diff = 0;
    unsigned char key[kKeySize];
    getLargestDiffAndKey(baseAddress, diff, key);
    return diff;
}

void WdbEventBlock::getkeyMap(long long baseAddress, unsigned char* key) const
{
    std::fill_n(key, kKeySize, static_cast<unsigned char>(0));
    for (unsigned int i = 0; i < size(); ++i) {
        forEachOffset(eventAt(i), baseAddress,
                      [&](unsigned int offset, long long) { setInKey(key, offset); });
    }
}

bool WdbEventBlock::isAddressInKey(long long address, long long baseAddress,
                                   const unsigned char* key)
{
    const unsigned int offset =
        static_cast<unsigned int>(address) - static_cast<unsigned int>(baseAddress);
    return offset < kKeyAddresses && (key[offset / 8] >> offset % 8 & 1) != 0;
}

} // namespace Tracewell
