// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAppendingStringBlockList.h"
#include "WdbStringBlock.h"

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

namespace Tracewell {

template <class Block, class List> class BlockStore;
class BlockStoreQueue;
class WdbFileManager;

/// The 16-byte record to which the "WDB.StringMap" section points.
struct TRACEWELL_API WdbStringMapDatabaseHeader
{
    static unsigned int getDefaultBlockSize() { return 1024; }
    /// Writes all texts to the standard output, for who looks for a fault.
    void dump() const;

    int m_databaseTypeId;
    unsigned int m_stringBlockSize;
    /// Where the handle of the first list node lies.
    long long m_stringBlockFileOffset;
};

static_assert(sizeof(WdbStringMapDatabaseHeader) == 16 &&
              std::is_trivially_copyable_v<WdbStringMapDatabaseHeader>);
static_assert(offsetof(WdbStringMapDatabaseHeader, m_databaseTypeId) == 0 &&
              offsetof(WdbStringMapDatabaseHeader, m_stringBlockSize) == 4 &&
              offsetof(WdbStringMapDatabaseHeader, m_stringBlockFileOffset) == 8);

/// Gives texts numbers, from 1 on in the order of adding, and finds them again by number. To be
/// destroyed before the file manager closes. Callers serialise all operations, also the const
/// ones, which may store waiting texts.
class TRACEWELL_API WdbStringMapDatabase
{
public:
    using StringBlockList = WdbAppendingStringBlockList<WdbStringBlock, 100>;

    /// Walks the stored blocks in the order of their ids.
    class TRACEWELL_API Iterator
    {
    public:
        Iterator(WdbIBlockManager& manager, const StringBlockList::Iterator& iterator);
        virtual ~Iterator();
        virtual bool isEof() const;
        virtual operator bool() const;
        virtual Iterator& operator++();
        /// An empty block at the end.
        virtual void getStringBlock(WdbStringBlock& block);
        /// All zero at the end.
        virtual void getBlockInfo(long long& handle, unsigned int& size, long long& startId,
                                  unsigned int& count) const;

    private:
        WdbIBlockManager* m_blockManager;
        StringBlockList::Iterator m_iterator;
    };

    explicit WdbStringMapDatabase(WdbFileManager& fileManager);
    WdbStringMapDatabase(const WdbStringMapDatabase&) = delete;
    WdbStringMapDatabase& operator=(const WdbStringMapDatabase&) = delete;
    /// Stores the waiting texts and the list's node.
    virtual ~WdbStringMapDatabase();

    /// As WdbMultipleBucketEventDatabase::setStoreQueue; the two may share a queue.
    void setStoreQueue(std::shared_ptr<BlockStoreQueue> queue);

    /// Makes anchor and header, under the file manager's lock, and lists the section if
    /// `addToTable`. Answers the header's offset.
    static long long createStringMapSection(int typeId, WdbFileManager& fileManager,
                                            bool addToTable);
    /// \throws Qsim::OpenException when the file has no such section.
    static long long getStringMapSection(WdbFileManager& fileManager);

    /// \throws Qsim::OpenException when the header cannot be true of this file.
    void initialize(long long sectionOffset, bool forWriting);
    /// The new text's id; -1, and no id is used up, for a text that cannot be stored: one of more
    /// than 1,010 characters, one with a NUL inside, noise of almost that length that does not
    /// compress, and any text while the map is not open for writing.
    long long addString(const std::string& text);
    /// False when there is no such id; then `text` stays as it is.
    bool getString(unsigned int id, std::string& text) const;
    Iterator getIterator() const;
    /// Everything added so far is listed in the file.
    void flush();
    void loadDataBlock(long long handle, unsigned int size, WdbStringBlock& block) const;
    const WdbStringMapDatabaseHeader& getStringDatabaseHeader() const { return m_header; }
    void dumpHeader() const { m_header.dump(); }

private:
    using Store = BlockStore<WdbStringBlock, StringBlockList>;
    class Listing;

    bool canStoreAlone(const std::string& text);
    void storeAll() const;

    WdbIBlockManager* m_blockManager;
    std::unique_ptr<Store> m_store;
    /// Null before initialize().
    std::unique_ptr<StringBlockList> m_list;
    WdbStringMapDatabaseHeader m_header{};
    /// Of a map that is read alone, made with the first text that is asked for.
    mutable std::unique_ptr<Listing> m_listing;
    long long m_lastId = 0;
    bool m_forWriting = false;
};

} // namespace Tracewell
