#pragma once

#include "CArray.h"
#include "TracewellExport.h"
#include "WdbEvent.h"
#include "WdbIBlockManager.h"

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
/// time, time length, number of events), event records back to back, and zeros to the end. Its
/// stored form is the zlib stream of the whole buffer. Not safe for concurrent use.
class TRACEWELL_API WdbEventBlock
{
public:
    static constexpr unsigned int kHeaderSize = 20;
    /// canAdd leaves this much free, 4 bytes more than a record's header.
    static constexpr unsigned int kAddMargin = 20;

    class TRACEWELL_API Iterator
    {
    public:
        Iterator(long long baseAddress, char* memory, const CArray& offsets);
        explicit operator bool() const { return m_index < m_size; }
        Iterator& operator++();
        WdbEvent& operator*();
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
    void addEvent(long long time, long long address, unsigned int length,
                  const unsigned char* value);
    /// Appends bytes that are already a record.
    void addEvent(char* record, unsigned int size);
    void addEvent(const WdbLiveEvent* event);
    void clear();

    bool isEmpty() const { return m_offsets.empty(); }
    unsigned int size() const { return m_offsets.size(); }
    long long getStartTime() const;
    long long getTimeLength() const;
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

    /// Stores the compressed image; `size` is the stored size. 0 for an empty block.
    long long addBlock(WdbIBlockManager& manager, unsigned int& size) const;
    /// Writes the image uncompressed over the handle; loadBlock cannot read it.
    void putBlock(long long handle, WdbIBlockManager& manager);
    /// Reads a stored block. A damaged one gives its whole records up to the damage; a stored size
    /// above the block size, or a place outside the storage, gives an empty block.
    void loadBlock(long long offset, unsigned int size, WdbIBlockManager& manager);

    /// Of events with one time, start address and length only the last one stays. Gives up when
    /// the first 101 events hold no repeat.
    void filterOutRepeatedValue();
    /// How far back in time the previous change of a touched address may lie; throws
    /// std::out_of_range when an event leaves the 2,048 addresses from `baseAddress` on.
    long long getLargestDiff(long long baseAddress) const;
    /// The same, and the 256-byte set of touched addresses.
    void getLargestDiffAndKey(long long baseAddress, long long& diff, unsigned char* key) const;
    void getkeyMap(long long baseAddress, unsigned char* key) const;
    static bool isAddressInKey(long long address, long long baseAddress, const unsigned char* key);

    void dump(std::ostream& os, bool withEvents) const;

private:
    long long m_baseAddress;
    unsigned int m_maxBlockSize;
    std::unique_ptr<char[]> m_memory;
    unsigned int m_currentSize = kHeaderSize;
    long long m_fileOffset = 0;
    CArray m_offsets;
};

} // namespace Tracewell
