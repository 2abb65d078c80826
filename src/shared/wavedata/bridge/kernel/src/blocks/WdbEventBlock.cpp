// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEventBlock.h"

#include "BlockInflater.h"
#include "ImageCompressor.h"
#include "StoreFailure.h"
#include "WdbLiveEvent.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <ostream>

namespace Tracewell {

namespace {

template <class T> T readAt(const char* memory, unsigned int offset)
{
    T value;
    std::memcpy(&value, memory + offset, sizeof value);
    return value;
}

template <class T> void writeAt(char* memory, unsigned int offset, T value)
{
    std::memcpy(memory + offset, &value, sizeof value);
}

constexpr unsigned int kStartTimeOffset = 0;
constexpr unsigned int kTimeLengthOffset = 8;
constexpr unsigned int kNumberOfEventsOffset = 16;
/// No record is shorter: a value has at least one byte.
constexpr unsigned int kSmallestRecord = WdbEvent::kHeaderSize + 1;

} // namespace

WdbIEventIterator::~WdbIEventIterator() = default;

WdbEventIterator::WdbEventIterator(long long baseAddress, char* memory, const CArray& offsets)
    : m_baseAddress(baseAddress), m_memory(memory), m_size(offsets.size()),
      m_event(memory, baseAddress), m_offsets(offsets)
{}

WdbEvent* WdbEventIterator::next()
{
    m_event.setBaseAddress(m_baseAddress);
    m_event.setBase(m_memory + m_offsets[m_index]);
    ++m_index;
    return &m_event;
}

bool WdbEventIterator::hasNext() const
{
    return m_index < m_size;
}

void WdbEventBlock::FreeMemory::operator()(char* memory) const
{
    std::free(memory);
}

// From calloc, so that a block of a size that its content never needs costs no memory.
WdbEventBlock::Memory WdbEventBlock::allocate(unsigned int maxBlockSize)
{
    Memory memory(static_cast<char*>(std::calloc(std::max(maxBlockSize, kHeaderSize), 1)));
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

WdbEventBlock::WdbEventBlock(unsigned int maxBlockSize, long long baseAddress)
    : m_baseAddress(baseAddress), m_maxBlockSize(maxBlockSize), m_memory(allocate(maxBlockSize)),
      m_offsets(kOffsetCapacity)
{}

WdbEventBlock::WdbEventBlock(const WdbEventBlock& other)
    : m_baseAddress(other.m_baseAddress), m_maxBlockSize(other.m_maxBlockSize),
      m_currentSize(other.m_currentSize), m_memory(allocate(other.m_maxBlockSize)),
      m_offsets(other.m_offsets), m_loadedSize(other.m_loadedSize),
      m_fileOffset(other.m_fileOffset), m_isDamaged(other.m_isDamaged)
{
    std::memcpy(m_memory.get(), other.m_memory.get(), std::max(m_currentSize, m_loadedSize));
}

WdbEventBlock& WdbEventBlock::operator=(const WdbEventBlock& other)
{
    if (this == &other) {
        return *this;
    }
    WdbEventBlock copy(other);
    m_baseAddress = copy.m_baseAddress;
    m_maxBlockSize = copy.m_maxBlockSize;
    m_currentSize = copy.m_currentSize;
    m_memory = std::move(copy.m_memory);
    m_offsets = std::move(copy.m_offsets);
    m_loadedSize = copy.m_loadedSize;
    m_fileOffset = copy.m_fileOffset;
    m_isDamaged = copy.m_isDamaged;
    return *this;
}

WdbEventBlock::~WdbEventBlock() = default;

void WdbEventBlock::addEvent(char* record, unsigned int size)
{
    if (size == 0) {
        return;
    }
    if (m_offsets.size() == m_offsets.capacity()) {
        growOffsets();
    }
    std::memcpy(m_memory.get() + m_currentSize, record, size);
    m_offsets.push_back(m_currentSize);
    m_currentSize += size;
}

void WdbEventBlock::addEvent(const WdbLiveEvent* event)
{
    addEvent(event->getTime(), event->getStartAddress(), event->getValuelength(),
             event->getValue());
}

void WdbEventBlock::clear()
{
    std::memset(m_memory.get(), 0, std::max(m_currentSize, m_loadedSize));
    m_currentSize = kHeaderSize;
    m_loadedSize = 0;
    m_isDamaged = false;
    m_offsets.clear();
}

WdbEventBlock::Iterator WdbEventBlock::getIterator()
{
    writeAt(m_memory.get(), kNumberOfEventsOffset, size());
    return Iterator(m_baseAddress, m_memory.get(), m_offsets);
}

WdbEventIterator WdbEventBlock::getEventIterator()
{
    writeAt(m_memory.get(), kNumberOfEventsOffset, size());
    return WdbEventIterator(m_baseAddress, m_memory.get(), m_offsets);
}

void WdbEventBlock::fillHeader() const
{
    if (isEmpty()) {
        return;
    }
    const long long start = eventAt(0).getTime();
    const long long last = eventAt(size() - 1).getTime();
    writeHeader({start,
                 static_cast<long long>(static_cast<unsigned long long>(last) -
                                        static_cast<unsigned long long>(start)),
                 size()});
}

long long WdbEventBlock::addBlock(WdbIBlockManager& manager, unsigned int& size) const
{
    if (isEmpty()) {
        return 0;
    }
    fillHeader();
    return guardStoring(manager, "WdbEventBlock", [&] {
        ImageCompressor compressor;
        compressor.compress(m_memory.get(), m_maxBlockSize);
        size = compressor.size();
        return manager.addBlock(compressor.data(), size);
    });
}

void WdbEventBlock::putBlock(long long handle, WdbIBlockManager& manager)
{
    if (isEmpty()) {
        return;
    }
    fillHeader();
    manager.putBlock(handle, m_memory.get(), m_maxBlockSize);
}

void WdbEventBlock::loadBlock(long long offset, unsigned int size, WdbIBlockManager& manager)
{
    const unsigned int usedBefore = std::max(m_currentSize, m_loadedSize);
    m_currentSize = kHeaderSize;
    m_offsets.clear();
    // Until the block is loaded, all of the buffer counts as used.
    m_loadedSize = m_maxBlockSize;
    bool isWhole = false;
    const unsigned int inflated =
        size <= m_maxBlockSize
            ? inflateBlock(manager, offset, size, m_memory.get(), m_maxBlockSize, isWhole)
            : 0;
    // Inflating overwrites, so only what an earlier content left behind it has to go.
    if (inflated < usedBefore) {
        std::memset(m_memory.get() + inflated, 0, usedBefore - inflated);
    }
    m_loadedSize = inflated;
    findRecords(inflated);
    const bool isNothing = offset == 0 && size == 0;
    m_isDamaged = !isNothing && !(isWhole && isLoadedWhole());
    if (m_isDamaged) {
        manager.noteDamage({WdbDamage::EventBlock, offset, size, m_baseAddress});
    }
}

/// Whether the image, which was inflated whole, holds what its header says and nothing behind.
bool WdbEventBlock::isLoadedWhole() const
{
    if (isEmpty() || size() != readHeader().m_numberOfEvents || m_currentSize > m_maxBlockSize) {
        return false;
    }
    const Header header = readHeader();
    const long long last = eventAt(size() - 1).getTime();
    const char* const rest = m_memory.get() + m_currentSize;
    const std::size_t left = m_maxBlockSize - m_currentSize;
    return eventAt(0).getTime() == header.m_startTime &&
           static_cast<unsigned long long>(last) -
                   static_cast<unsigned long long>(header.m_startTime) ==
               static_cast<unsigned long long>(header.m_timeLength) &&
           (left == 0 || (rest[0] == 0 && std::memcmp(rest, rest + 1, left - 1) == 0));
}

void WdbEventBlock::findRecords(unsigned int bytes)
{
    if (bytes < kHeaderSize) {
        return;
    }
    const unsigned int possible = (bytes - kHeaderSize) / kSmallestRecord;
    const unsigned int count = std::min(readHeader().m_numberOfEvents, possible);
    m_offsets.reserve(count);
    char* const memory = m_memory.get();
    unsigned int found = 0;
    unsigned int place = kHeaderSize;
    while (found < count && place <= bytes - kSmallestRecord) {
        const unsigned int length = WdbEvent(memory + place, 0).getValuelength();
        if (length == 0 || length > m_maxBlockSize - place - WdbEvent::kHeaderSize) {
            break;
        }
        m_offsets.setData(found++, place);
        place += WdbEvent::kHeaderSize + length;
        if (place > bytes) {
            break;
        }
    }
    m_offsets.setSize(found);
    m_currentSize = place;
}

void WdbEventBlock::growOffsets()
{
    m_offsets.grow(std::max(2 * m_offsets.capacity(), kOffsetCapacity));
}

WdbEventBlock::Header WdbEventBlock::readHeader() const
{
    const char* const memory = m_memory.get();
    return {readAt<long long>(memory, kStartTimeOffset),
            readAt<long long>(memory, kTimeLengthOffset),
            readAt<unsigned int>(memory, kNumberOfEventsOffset)};
}

void WdbEventBlock::writeHeader(const Header& header) const
{
    char* const memory = m_memory.get();
    writeAt(memory, kStartTimeOffset, header.m_startTime);
    writeAt(memory, kTimeLengthOffset, header.m_timeLength);
    writeAt(memory, kNumberOfEventsOffset, header.m_numberOfEvents);
}

void WdbEventBlock::dump(std::ostream& os, bool withEvents) const
{
    const std::ios_base::fmtflags flags = os.flags();
    os << std::dec << "--WdbEventBlock:dump()\n"
       << "  m_startTime = " << getStartTime() << '\n'
       << "  m_timeLength = " << getTimeLength() << '\n'
       << "  numberOfEvents = " << size() << '\n';
    if (withEvents) {
        for (unsigned int i = 0; i < size(); ++i) {
            os << "--current Event Index = " << i << '\n';
            eventAt(i).dump(os);
        }
    }
    os.flags(flags);
}

} // namespace Tracewell
