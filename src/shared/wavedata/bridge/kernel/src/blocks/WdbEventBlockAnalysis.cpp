// SPDX-License-Identifier: BSD-3-Clause

// What a block knows about its events as a whole: repeats, distances in time, touched addresses.

#include "WdbEventBlock.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Tracewell {

namespace {

/// The index of the last event that is looked at while no repeat was found.
constexpr unsigned int kGiveUpIndex = 101;

/// What tells whether two events are repeats: the 16 bytes before the value. The address is taken
/// relative to the block's base.
struct RepeatKey
{
    explicit RepeatKey(const char* record)
    {
        std::memcpy(&time, record, 8);
        std::memcpy(&address, record + 8, 4);
        std::memcpy(&length, record + 12, 4);
    }
    bool operator==(const RepeatKey& other) const
    {
        return time == other.time && address == other.address && length == other.length;
    }
    std::size_t hash() const
    {
        const std::uint64_t place = static_cast<std::uint64_t>(length) << 32 | address;
        const std::uint64_t mixed =
            (static_cast<std::uint64_t>(time) * 0x9e3779b97f4a7c15u ^ place) * 0xd6e8feb86659fd93u;
        return static_cast<std::size_t>(mixed ^ mixed >> 32);
    }

    long long time;
    unsigned int address;
    unsigned int length;
};

enum class Repeats { None, Found, Unknown };

/// Sets the flag of each event that a later one repeats. Knows the last event at an address only,
/// which is enough while times do not fall and nothing is written in two widths at one time;
/// otherwise the answer is unknown. `flags` are zero before.
template <class KeyAt>
Repeats findOrderedRepeats(unsigned int count, const KeyAt& keyAt, char* flags)
{
    // An address without an event stands at event 0, which needs no branch here: its address then
    // tells it apart, where it has the same time at all.
    constexpr unsigned int kAddresses = 2048;
    unsigned int lastEvents[kAddresses] = {};
    bool found = false;
    long long latest = count > 0 ? keyAt(0).time : 0;
    for (unsigned int i = 1; i < count; ++i) {
        const RepeatKey key = keyAt(i);
        if (key.time < latest) {
            return Repeats::Unknown;
        }
        latest = key.time;
        const unsigned int lastEvent = std::exchange(lastEvents[key.address % kAddresses], i);
        const RepeatKey last = keyAt(lastEvent);
        if (last.time == key.time && (last.address - key.address) % kAddresses == 0) {
            if (!(last == key)) {
                return Repeats::Unknown;
            }
            flags[lastEvent] = 1;
            found = true;
        }
        if (!found && i == kGiveUpIndex) {
            return Repeats::None;
        }
    }
    return found ? Repeats::Found : Repeats::None;
}

/// The same for events in any order, by a table with open addressing.
template <class KeyAt> Repeats findRepeats(unsigned int count, const KeyAt& keyAt, char* flags)
{
    static thread_local std::vector<unsigned int> numbers;
    std::size_t size = 256;
    while (size < 2 * static_cast<std::size_t>(count)) {
        size *= 2;
    }
    numbers.assign(size, 0);
    bool found = false;
    for (unsigned int i = 0; i < count; ++i) {
        const RepeatKey key = keyAt(i);
        std::size_t place = key.hash() % size;
        while (numbers[place] != 0 && !(keyAt(numbers[place] - 1) == key)) {
            place = (place + 1) % size;
        }
        if (numbers[place] != 0) {
            flags[numbers[place] - 1] = 1;
            found = true;
        }
        numbers[place] = i + 1;
        if (!found && i == kGiveUpIndex) {
            return Repeats::None;
        }
    }
    return found ? Repeats::Found : Repeats::None;
}

} // namespace

void WdbEventBlock::filterOutRepeatedValue()
{
    const char* const memory = m_memory.get();
    const auto keyAt = [memory, this](unsigned int index) {
        return RepeatKey(memory + m_offsets[index]);
    };
    static thread_local std::vector<char> flags;
    flags.assign(size(), 0);
    Repeats repeats = findOrderedRepeats(size(), keyAt, flags.data());
    if (repeats == Repeats::Unknown) {
        flags.assign(size(), 0);
        repeats = findRepeats(size(), keyAt, flags.data());
    }
    if (repeats == Repeats::Found) {
        removeEvents(flags.data());
    }
}

// Moves whole runs of events, since few are removed.
void WdbEventBlock::removeEvents(const char* removed)
{
    const unsigned int count = size();
    const auto findNext = [&](unsigned int from, char flag) {
        const void* const found = std::memchr(removed + from, flag, count - from);
        return found ? static_cast<unsigned int>(static_cast<const char*>(found) - removed) : count;
    };
    unsigned int kept = findNext(0, 1);
    unsigned int end = kept < count ? m_offsets[kept] : m_currentSize;
    for (unsigned int i = kept; i < count;) {
        const unsigned int runBegin = findNext(i, 0);
        if (runBegin == count) {
            break;
        }
        const unsigned int runEnd = findNext(runBegin, 1);
        const unsigned int from = m_offsets[runBegin];
        const unsigned int to = runEnd < count ? m_offsets[runEnd] : m_currentSize;
        std::memmove(m_memory.get() + end, m_memory.get() + from, to - from);
        for (i = runBegin; i < runEnd; ++i) {
            m_offsets.setData(kept++, m_offsets[i] - (from - end));
        }
        end += to - from;
    }
    for (unsigned int i = kept; i < count; ++i) {
        m_offsets.setData(i, 0);
    }
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
    if (start >= WdbEventBlock::kKeyAddresses || length > WdbEventBlock::kKeyAddresses - start) {
        throw std::out_of_range("event outside the bucket");
    }
    for (unsigned int offset = start; offset < start + length; ++offset) {
        touch(offset, event.getTime());
    }
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
    // Without branches, since random addresses would have most of them guessed wrong.
    long long lastTimes[kKeyAddresses] = {};
    // 0, 1, or 2 for more.
    unsigned char touches[kKeyAddresses] = {};
    long long largest = 0;
    for (unsigned int i = 0; i < size(); ++i) {
        forEachOffset(eventAt(i), baseAddress, [&](unsigned int offset, long long time) {
            const unsigned char before = touches[offset];
            const long long ifSeen = -static_cast<long long>(before != 0);
            largest = std::max(largest, subtract(time, lastTimes[offset]) & ifSeen);
            touches[offset] = static_cast<unsigned char>(before + (before < 2 ? 1 : 0));
            lastTimes[offset] = time;
        });
    }

    bool oneTouchedOnce = false;
    for (unsigned int byte = 0; byte < kKeySize; ++byte) {
        constexpr std::uint64_t kLowestBits = 0x0101010101010101;
        // Adds up to the lowest bits of the bytes, the first one's last.
        constexpr std::uint64_t kGather = 0x0102040810204080;
        std::uint64_t eight = 0;
        std::memcpy(&eight, touches + std::size_t{8} * byte, sizeof eight);
        oneTouchedOnce |= (eight & kLowestBits) != 0;
        key[byte] =
            static_cast<unsigned char>(((eight | eight >> 1) & kLowestBits) * kGather >> 56);
    }
    diff = largest;
    // Its previous change lies before this block, at an unknown distance.
    if (oneTouchedOnce) {
        diff = subtract(eventAt(size() - 1).getTime(), eventAt(0).getTime());
    }
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
