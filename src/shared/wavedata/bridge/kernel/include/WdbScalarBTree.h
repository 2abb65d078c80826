#pragma once

#include "TracewellExport.h"
#include "WdbDenseDrawFilter.h"
#include "WdbIBlockManager.h"
#include "WdbTimeByteValue.h"

#include <memory>

namespace Tracewell {

/// The history of one byte of the data memory, or of one bit of it: time-ordered pairs, appended at
/// the end, searched by time, and indexed so that a stretch too dense for the screen costs no
/// record. Records go to the block manager given, the index stays in memory. No lock of its own:
/// see WdbAddressBTreeManager::getMutex.
class TRACEWELL_API WdbScalarBTree
{
public:
    class Iterator;

    /// `manager` must outlive the tree.
    WdbScalarBTree(long long address, WdbIBlockManager& manager);
    WdbScalarBTree(const WdbScalarBTree&) = delete;
    WdbScalarBTree& operator=(const WdbScalarBTree&) = delete;
    ~WdbScalarBTree();

    /// Times must not decrease.
    void addValue(long long time, unsigned char value);
    /// Drops repeated values, keeps the last of several at one time, and drops a pulse without
    /// width.
    void addValueWithFilter(long long time, unsigned char value);
    /// Takes the last value back; a second deletion in a row restores nothing more.
    void deleteLastValue();
    /// Overwrites the last value.
    void updateValue(unsigned char value);

    /// An iterator on the first answer for a view that starts at `fromTime` with `resolution` units
    /// of time a pixel; the caller deletes it. `latestTime` is where the run stands; answers end
    /// behind `toTime` if that is above 0. The iterator must not outlive the tree or a reset.
    Iterator* find(long long fromTime, long long resolution, long long latestTime,
                   long long toTime) const;

    long long getAddress() const { return m_address; }
    void setAddress(long long address) { m_address = address; }
    /// -1 for a byte tree.
    int getBitPosition() const { return m_bitPosition; }
    void setBitPosition(int bitPosition);
    unsigned char getBitMask() const { return m_bitMask; }
    bool isBitBTree() const { return m_bitPosition != -1; }
    bool isEmpty() const;
    unsigned char getLastValue() const;
    long long getLastValueTime() const;
    /// Forgets the history; address and bit position stay.
    void reset();

private:
    long long m_address;
    int m_bitPosition = -1;
    unsigned char m_bitMask = 0;
};

/// Answers of one query, one after the other.
class TRACEWELL_API WdbScalarBTree::Iterator
{
public:
    virtual ~Iterator();

    explicit operator bool() const;
    Iterator& operator++();
    /// Simulation time of the current answer; 0 at the end.
    long long getTime() const;
    WdbTimeByteValue operator*() const;
    /// For a bit tree, the byte shifted to the bit's position.
    unsigned char convertToByte(unsigned char value) const;
};

} // namespace Tracewell
