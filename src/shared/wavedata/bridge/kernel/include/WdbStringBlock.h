// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "CArray.h"
#include "TracewellExport.h"
#include "WdbIBlockManager.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace Tracewell {

/// The places of a string block's texts in its buffer.
using WdbOffsetArray = CArray;

/// A text and its id; the text lies in the block.
struct StringBlockItem
{
    long long id = 0;
    const char* text = nullptr;
};

/// Walks the texts of a block, which must stay alive and unchanged.
class TRACEWELL_API WdbStringBlockIterator
{
public:
    WdbStringBlockIterator(const char* memory, const WdbOffsetArray& offsets);

    bool hasNext() const { return m_index < m_offsets.size(); }
    /// The item is the iterator's and changes with the next call.
    const StringBlockItem& next();

private:
    const char* m_memory;
    unsigned int m_index = 0;
    StringBlockItem m_item;
    WdbOffsetArray m_offsets;
};

/// The unit of string storage: a buffer of `size` bytes with a header of 12 bytes (id of the first
/// text i64, number of texts u32), the texts with a NUL each, and zeros to the end. Ids run on by
/// one. The stored form is the zlib stream of the whole buffer. Not safe for concurrent use.
class TRACEWELL_API WdbStringBlock
{
public:
    static constexpr unsigned int kHeaderSize = 12;
    /// The offsets start with this capacity and grow when a block holds more texts.
    static constexpr unsigned int kOffsetCapacity = 1024;

    explicit WdbStringBlock(unsigned int size);
    WdbStringBlock(const WdbStringBlock& other);
    WdbStringBlock& operator=(const WdbStringBlock& other);
    ~WdbStringBlock();

    bool canAdd(const std::string& text) const
    {
        return text.size() + 1 + m_currentSize < m_blockSize;
    }
    /// Appends a text; ask canAdd first. The first one gives the block its start id.
    void addString(long long id, const std::string& text);
    void clear();

    bool isEmpty() const { return m_offsets.empty(); }
    /// Whether what was loaded last was damaged.
    bool isDamaged() const { return m_isDamaged; }
    /// How many texts the block holds.
    unsigned int size() const { return m_offsets.size(); }
    long long getStartID() const;
    void setSetStartID(long long id);
    unsigned int sizeofEventBlock() const { return m_blockSize; }
    unsigned int getMaxEventBlockSize() const { return m_blockSize; }
    char* getMemory() const { return m_memory.get(); }
    WdbStringBlockIterator getStringBlockIterator() const;

    /// Stores the compressed image; `size` is the stored size, `startId` and `count` say what is
    /// in it. 0 for an empty block. A stream that does not fit in the block's size is cut there.
    long long addBlock(WdbIBlockManager& manager, unsigned int& size, long long& startId,
                       unsigned int& count) const;
    /// Reads a stored block. A damaged one gives its texts up to the damage; a stored size above
    /// the block size, or a place outside the storage, gives an empty block.
    void loadBlock(long long offset, unsigned int size, WdbIBlockManager& manager);
    /// Finds the first `count` texts in the image, fewer when the image ends before.
    void loadDataOffsetArray(unsigned int count);
    /// Forgets where the texts lie; the image stays.
    void resetDataOffset() { m_offsets.clear(); }

    void dump(std::ostream& os, bool withStrings) const;

private:
    unsigned int readCount() const;
    void writeCount(unsigned int count) const;

    unsigned int m_blockSize;
    /// One byte longer than the image, a NUL that ends every text.
    std::unique_ptr<char[]> m_memory;
    unsigned int m_currentSize = kHeaderSize;
    WdbOffsetArray m_offsets;
    bool m_isDamaged = false;
};

} // namespace Tracewell
