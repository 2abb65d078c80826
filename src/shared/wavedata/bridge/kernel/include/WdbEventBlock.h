// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "CArray.h"
#include "TracewellExport.h"
#include "WdbEvent.h"
#include "WdbIBlockManager.h"

#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <memory>

namespace Tracewell {

class WdbLiveEvent;

/// Walks the events of a block by next().
class TRACEWELL_API WdbIEventIterator
{
public:
    virtual ~WdbIEventIterator();
    /// The cursor, owned by the iterator, set to the next event.
    virtual WdbEvent* next() = 0;
    virtual bool hasNext() const = 0;
};

/// An iterator with its own copy of the offsets; the memory is the block's.
class TRACEWELL_API WdbEventIterator : public WdbIEventIterator
{
public:
    WdbEventIterator(long long baseAddress, char* memory, const CArray& offsets);
    WdbEvent* next() override;
    bool hasNext() const override;

private:
    long long m_baseAddress;
    char* m_memory;
    unsigned int m_index = 0;
    unsigned int m_size;
    WdbEvent m_event;
    CArray m_offsets;
};

/// The unit of event storage: a buffer of `maxBlockSize` bytes with a header of 20 bytes (start
/// time i64, time length i64, number of events u32), event records back to back, and zeros to the
/// end. Its stored form is the zlib stream of the whole buffer. Not safe for concurrent use.
class TRACEWELL_API WdbEventBlock
{
public:
    static constexpr unsigned int kHeaderSize = 20;
    /// canAdd leaves this much free, 4 bytes more than a record's header.
    static constexpr unsigned int kAddMargin = 20;
    /// The offsets start with this capacity and grow when a block holds more events.
    static constexpr unsigned int kOffsetCapacity = 1024;
    /// getLargestDiff and the keys know this many addresses from a base on.
    static constexpr unsigned int kKeyAddresses = 2048;
    static constexpr unsigned int kKeySize = kKeyAddresses / 8;

    class TRACEWELL_API Iterator
    {
    public:
        Iterator(long long baseAddress, char* memory, const CArray& offsets)
            : m_baseAddress(baseAddress), m_size(offsets.size()), m_memory(memory),
              m_offsets(offsets)
        {}
        operator bool() const { return m_index < m_size; }
        Iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        /// The cursor, owned by the iterator, set to the current event.
        WdbEvent& operator*()
        {
            m_event.setBaseAddress(m_baseAddress);
            m_event.setBase(m_memory + m_offsets[m_index]);
            return m_event;
        }
        unsigned int getIndex() const { return m_index; }
        void setIndex(unsigned int index) { m_index = index; }

    private:
        long long m_baseAddress;
        unsigned int m_index = 0;
        unsigned int m_size;
        char* m_memory;
        CArray m_offsets;
        WdbEvent m_event;
    };

    WdbEventBlock(unsigned int maxBlockSize, long long baseAddress);
    WdbEventBlock(const WdbEventBlock& other);
    WdbEventBlock& operator=(const WdbEventBlock& other);
    ~WdbEventBlock();

    bool canAdd(unsigned int length) const
    {
        return static_cast<unsigned long long>(m_currentSize) + kAddMargin + length <
               m_maxBlockSize;
    }
    /// The longest value that an empty block of that size can take.
    static unsigned int getLongestValue(unsigned int maxBlockSize)
    {
        constexpr unsigned int kTaken = kHeaderSize + kAddMargin + 1;
        return maxBlockSize > kTaken ? maxBlockSize - kTaken : 0;
    }

    /// Appends a record; ask canAdd first. Nothing happens for a length of 0.
    inline void addEvent(long long time, long long address, unsigned int length,
                         const unsigned char* value);
    /// addEvent for the common short values, if there is room; false otherwise. Without a call,
    /// made for the writers' inner loop.
    inline bool addShortEvent(long long time, long long address, unsigned int length,
                              const unsigned char* value);
    /// Appends bytes that are already a record.
    void addEvent(char* record, unsigned int size);
    void addEvent(const WdbLiveEvent* event);
    /// Back to the empty block: the buffer is zero again.
    void clear();

    bool isEmpty() const { return m_offsets.empty(); }
    /// Whether what was loaded last was damaged.
    bool isDamaged() const { return m_isDamaged; }
    /// How many events the block holds.
    unsigned int size() const { return m_offsets.size(); }
    /// From the image's header, which addBlock, putBlock and loadBlock fill.
    long long getStartTime() const { return readHeader().m_startTime; }
    /// Time of the last event minus time of the first, by position; from the image's header.
    long long getTimeLength() const { return readHeader().m_timeLength; }
    long long getBaseAddress() const { return m_baseAddress; }
    void setBaseAddress(long long baseAddress) { m_baseAddress = baseAddress; }
    unsigned int sizeofEventBlock() const { return m_maxBlockSize; }
    unsigned int getMaxEventBlockSize() const { return m_maxBlockSize; }
    char* getMemory() const { return m_memory.get(); }
    long long getFileOffset() const { return m_fileOffset; }
    void setFileOffset(long long offset) { m_fileOffset = offset; }

    /// The block must stay alive and unchanged while the iterator is used.
    Iterator getIterator();
    WdbEventIterator getEventIterator();

    /// Brings the image's header up to date with the events. Nothing happens when empty.
    void fillHeader() const;
    /// Stores the compressed image; `size` is the stored size. 0 for an empty block. A stream that
    /// does not fit in the block's size is cut there.
    long long addBlock(WdbIBlockManager& manager, unsigned int& size) const;
    /// Writes the image uncompressed over the handle; loadBlock cannot read it.
    void putBlock(long long handle, WdbIBlockManager& manager);
    /// Reads a stored block. A damaged one gives its records up to the damage; a stored size above
    /// the block size, or a place outside the storage, gives an empty block. Such damage is noted,
    /// except for the place 0 with the size 0, which is no block.
    void loadBlock(long long offset, unsigned int size, WdbIBlockManager& manager);

    /// Of events with one time, start address and length only the last one stays. Gives up when
    /// the first events, up to the one of index 101, hold no repeat.
    void filterOutRepeatedValue();
    /// How far back in time the previous change of a touched address may lie.
    /// \throws std::out_of_range when an event leaves the kKeyAddresses addresses from
    /// `baseAddress` on.
    long long getLargestDiff(long long baseAddress) const;
    /// The same, and the set of touched addresses as kKeySize bytes, a bit each.
    void getLargestDiffAndKey(long long baseAddress, long long& diff, unsigned char* key) const;
    /// Only the set. \throws std::out_of_range as getLargestDiff.
    void getkeyMap(long long baseAddress, unsigned char* key) const;
    static bool isAddressInKey(long long address, long long baseAddress, const unsigned char* key);

    void dump(std::ostream& os, bool withEvents) const;

private:
    /// The image's first bytes, without padding in the image.
    struct Header
    {
        long long m_startTime;
        long long m_timeLength;
        unsigned int m_numberOfEvents;
    };
    struct FreeMemory
    {
        void operator()(char* memory) const;
    };
    using Memory = std::unique_ptr<char[], FreeMemory>;

    static constexpr unsigned int kPrefetchDistance = 256;

    /// A record without its value, whose place is the answer.
    inline char* addRecord(long long time, long long address, unsigned int length);
    static Memory allocate(unsigned int maxBlockSize);
    Header readHeader() const;
    void writeHeader(const Header& header) const;
    WdbEvent eventAt(unsigned int index) const
    {
        return WdbEvent(m_memory.get() + m_offsets[index], m_baseAddress);
    }
    void growOffsets();
    /// Takes out the events whose flag, one for each event, is 1.
    void removeEvents(const char* removed);
    /// Takes up the records of the image, of which `bytes` were inflated.
    void findRecords(unsigned int bytes);
    bool isLoadedWhole() const;

    long long m_baseAddress;
    unsigned int m_maxBlockSize;
    unsigned int m_currentSize = kHeaderSize;
    Memory m_memory;
    CArray m_offsets;
    /// Bytes of the buffer that may differ from zero, if these are more than m_currentSize.
    unsigned int m_loadedSize = 0;
    long long m_fileOffset = 0;
    bool m_isDamaged = false;
};

inline void WdbEventBlock::addEvent(long long time, long long address, unsigned int length,
                                    const unsigned char* value)
{
    if (length == 0) {
        return;
    }
    if (m_offsets.size() == m_offsets.capacity()) {
        growOffsets();
    }
    std::memcpy(addRecord(time, address, length), value, length);
}

inline char* WdbEventBlock::addRecord(long long time, long long address, unsigned int length)
{
    const unsigned int offset = m_currentSize;
    const WdbEventRecordHeader header = {
        time, static_cast<unsigned int>(address) - static_cast<unsigned int>(m_baseAddress),
        length};
    char* const record = m_memory.get() + offset;
    m_offsets.push_back(offset);
    m_currentSize = offset + WdbEvent::kHeaderSize + length;
    std::memcpy(record, &header, sizeof header);
    // Blocks are handed to other threads when full, so the lines to come may be far away.
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(record) + kPrefetchDistance),
        1);
    return record + sizeof header;
}

inline bool WdbEventBlock::addShortEvent(long long time, long long address, unsigned int length,
                                         const unsigned char* value)
{
    if (!canAdd(length) || m_offsets.size() == m_offsets.capacity()) {
        return false;
    }
    switch (length) {
    case 1:
        std::memcpy(addRecord(time, address, 1), value, 1);
        return true;
    case 2:
        std::memcpy(addRecord(time, address, 2), value, 2);
        return true;
    case 4:
        std::memcpy(addRecord(time, address, 4), value, 4);
        return true;
    case 8:
        std::memcpy(addRecord(time, address, 8), value, 8);
        return true;
    default:
        return false;
    }
}

} // namespace Tracewell
