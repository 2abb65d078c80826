// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Tracewell {

class SharedRegion;

/// A ring of records of 24 bytes for one producer and one consumer, in two named regions: one for
/// the records, one that begins with the write index and the read index, u32 each. The records'
/// places are 0, 24, 48 and so on up to the data size inclusive, and then 24 again.
///
/// Each region follows the rules of SharedMemoryRegion.
class TRACEWELL_API SharedMemory
{
public:
    static constexpr int kOpen = 0;
    static constexpr int kCreate = 1;
    static constexpr unsigned int kRecordSize = 24;

    /// Any other mode leaves the regions away. A region is named by its prefix and the absolute
    /// form of `path`. Sizes are in bytes.
    SharedMemory(int mode, const std::string& path, int unused, int dataSize,
                 const std::string& dataPrefix, int pointerSize, const std::string& pointerPrefix);
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    virtual ~SharedMemory();

    /// Whether both regions are there. When not, every operation answers null or does nothing.
    bool isMapped() const { return m_writeIndex && m_readIndex && m_data; }
    /// Whether the other side has the ring open now. Asks the system.
    bool isPeerPresent() const;
    /// Whether a running process has made the ring, so that it could be opened. Prints nothing.
    static bool isOffered(const std::string& path, int pointerSize,
                          const std::string& pointerPrefix);
    /// Whether one has and another process has opened it, so that it would be refused.
    static bool isTaken(const std::string& path, int pointerSize, const std::string& pointerPrefix);
    /// Records that were handed over and not freed, at some moment of the call. On any thread.
    unsigned int getFilledCount() const;
    /// Whether an index lies outside of the ring or between two of its places, so that nothing can
    /// pass until it is emptied. On any thread.
    bool hasIndexOutside() const;

    // The producer's.

    /// The record to be filled next, or null while the ring is full. Nobody sees it before
    /// commitWrite.
    char* getEmptyBlock();
    /// Hands over the record that getEmptyBlock gave.
    void commitWrite();

    // The consumer's.

    /// The oldest record that was handed over, or null.
    char* getNextBlock();
    /// Frees the record that getNextBlock gave. False if the ring was emptied since: the record is
    /// void.
    bool advanceRead();

    /// Empties the ring. The producer must stand still, and so must the consumer, but for a record
    /// that it loses.
    void clearPointers();

private:
    bool isPlace(unsigned int index) const;
    void openPair(const std::string& dataName, std::size_t dataBytes,
                  const std::string& pointerName, std::size_t pointerBytes,
                  const std::string& description);

    unsigned int m_dataSize;
    unsigned int m_nextWrite = 0;
    unsigned int m_currentRead = 0;
    std::unique_ptr<SharedRegion> m_dataRegion;
    std::unique_ptr<SharedRegion> m_pointerRegion;
    char* m_data = nullptr;
    std::uint32_t* m_writeIndex = nullptr;
    std::uint32_t* m_readIndex = nullptr;
};

} // namespace Tracewell
