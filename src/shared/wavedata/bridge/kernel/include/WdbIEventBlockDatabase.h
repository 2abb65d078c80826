// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbEventBlock.h"
#include "WdbEventDatabaseHeader.h"

#include <memory>
#include <vector>

namespace Tracewell {

class WdbFileManager;
class WdbIEventSource;
class WdbScalarBTree;

/// Walks the stored blocks of one bucket in the order in which they were stored.
class TRACEWELL_API WdbIEventBlockIterator
{
public:
    virtual ~WdbIEventBlockIterator();
    virtual bool isEof() const = 0;
    virtual operator bool() const = 0;
    virtual WdbIEventBlockIterator& operator++() = 0;
    /// Loads the current block into `block`, whose maximum size must be the database's; an empty
    /// block at the end.
    virtual void getEventBlock(WdbEventBlock& block) = 0;
};

/// Stores the events of a run in the "WDB.Event" section of a container and gives them back block
/// by block. Made by WdbEventBlockDatabaseFactory, initialized once, and destroyed before the file
/// manager closes: the destructor of a database for writing stores the last blocks, list nodes and
/// the latest time. One thread at a time.
class TRACEWELL_API WdbIEventBlockDatabase
{
public:
    using IteratorVector = std::vector<std::shared_ptr<WdbIEventBlockIterator>>;

    virtual ~WdbIEventBlockDatabase();
    /// Takes up the section whose header lies at `sectionOffset`. A file whose writer never came
    /// to its end gives the latest time of its last listed blocks. For reading, nothing is ever
    /// written; the writing operations then do nothing.
    /// \throws Qsim::OpenException when the header cannot be true of this file.
    virtual void initialize(long long sectionOffset, bool forWriting) = 0;
    /// Stores that `length` bytes from `address` on took these values at `time`, and raises the
    /// latest time to `time`. A change that is too long for one block is stored in pieces. A
    /// negative address, and any address when there is no bucket, is dropped.
    virtual void writeEvent(long long time, long long address, unsigned int length,
                            const unsigned char* value) = 0;
    /// Stores the events that wait in memory.
    virtual void flush() = 0;
    /// Memory only: the file gets the latest time at the database's end.
    virtual void setLatestTime(long long time) = 0;
    /// Whether a full block is rid of all but the last of several writes to one place at one time.
    virtual void setFilterRepeatedValue(bool filter) = 0;
    /// The iterators see everything that was written before. Making one stores open blocks.
    virtual IteratorVector getAllEventBlockDatabaseIterator() const = 0;
    /// Groups the trees by the bucket of their address: one iterator and one group an entry.
    virtual void
    getEventBlockDatabaseIterator(const std::vector<WdbScalarBTree*>& trees,
                                  IteratorVector& iterators,
                                  std::vector<std::vector<WdbScalarBTree*>>& treeLists) const = 0;
    /// One iterator for each bucket that holds one of the addresses and has ever been written.
    virtual IteratorVector
    getEventBlockDatabaseIterator(const std::vector<long long>& addresses) const = 0;
    virtual long long getLatestTime() const = 0;
    virtual const WdbEventDatabaseHeader& getEventDatabaseHeader() const = 0;
    /// Stores where the address map lies (offset) and how many ranges it has (size), and rewrites
    /// the header in the file.
    virtual void setAddressMapFileOffsetAndSize(long long offset, long long size) = 0;
    /// Null for the types without an index by time.
    virtual WdbIEventSource* getIEventDataSource() = 0;

    /// Buckets that cover the addresses, the last one perhaps in part. A division of 0 is taken
    /// as the default, here and when a section is made.
    static unsigned int calculateNumberOfBucket(unsigned long long addressSize);
    static unsigned int calculateNumberOfBucket(unsigned long long addressSize,
                                                unsigned int division);
    /// Makes the bucket table and the header and lists the section, under the file manager's lock.
    /// Answers the header's offset.
    static long long createEventSection(int typeId, unsigned int numberOfBuckets,
                                        unsigned long long addressSize, unsigned int division,
                                        WdbFileManager& fileManager);
    static long long createEventSection(int typeId, unsigned int numberOfBuckets,
                                        unsigned long long addressSize,
                                        WdbFileManager& fileManager);
    /// \throws Qsim::OpenException when the file has no event section.
    static long long getEventSection(WdbFileManager& fileManager);
    static int getEventDatabaseTypeId(WdbFileManager& fileManager);
};

} // namespace Tracewell
