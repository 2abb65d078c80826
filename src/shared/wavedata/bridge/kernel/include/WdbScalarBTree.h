// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbDenseDrawFilter.h"
#include "WdbIBlockManager.h"
#include "WdbScalarTreeRecord.h"
#include "WdbTimeByteValue.h"

#include <memory>

namespace Tracewell {

class WdbScalarRecordStore;

/// The history of one byte of the data memory, or of one bit of it: time-ordered pairs, appended at
/// the end, searched by time, and indexed so that a stretch too dense for the screen costs no
/// record. Records go to the block manager given, the index stays in memory. No lock of its own:
/// see WdbAddressBTreeManager::getMutex.
///
/// A short history is cheap: one event lies in the tree itself, up to one record on the heap, and
/// only what is longer has an index and blocks.
class TRACEWELL_API WdbScalarBTree
{
public:
    class Iterator;

    /// `manager` must outlive the tree.
    WdbScalarBTree(long long address, WdbIBlockManager& manager);
    WdbScalarBTree(const WdbScalarBTree&) = delete;
    WdbScalarBTree& operator=(const WdbScalarBTree&) = delete;
    ~WdbScalarBTree();

    /// Adds an event behind all others; times must not decrease.
    void addValue(long long time, unsigned char value);
    /// Drops repeated values, keeps the last of several at one time, and drops a pulse without
    /// width.
    void addValueWithFilter(long long time, unsigned char value)
    {
        if (m_lastTime >= 0) {
            if (value == m_lastValue) {
                return;
            }
            if (time != m_lastTime && m_record.canAppend()) {
                m_record.append(time, value);
                setLast(time, value);
                return;
            }
        }
        addFilteredValue(time, value);
    }
    /// Takes the last value back; a second deletion in a row restores nothing more.
    void deleteLastValue();
    /// Gives the last event another value.
    void updateValue(unsigned char value);

    /// An iterator on the first answer for a view that starts at `fromTime` with `resolution` units
    /// of time a pixel; the caller deletes it. `latestTime` is where the run stands; answers end
    /// behind `toTime` if that is above 0. The iterator must not outlive the tree or a reset.
    ///
    /// Stores the open record of a long history first, so it excludes every other use of the tree.
    Iterator* find(long long fromTime, long long resolution, long long latestTime,
                   long long toTime) const;

    long long getAddress() const { return m_address; }
    void setAddress(long long address) { m_address = address; }
    /// -1 for a byte tree.
    int getBitPosition() const { return m_bitPosition; }
    void setBitPosition(int bitPosition);
    unsigned char getBitMask() const { return m_bitMask; }
    bool isBitBTree() const { return m_bitPosition != -1; }
    bool isEmpty() const { return m_state == NoEvent; }
    unsigned char getLastValue() const { return m_lastValue; }
    /// -1 for an empty tree.
    long long getLastValueTime() const { return m_lastTime; }
    /// Forgets the history; address and bit position stay. Blocks are not given back.
    void reset();

protected:
    /// A tree's proportions. Other ones than these serve tests: many levels from few values.
    struct Shape
    {
        unsigned short recordCapacity = WdbScalarTreeRecord::kCapacity;
        unsigned short fanOut = 1024;
    };
    WdbScalarBTree(long long address, WdbIBlockManager& manager, const Shape& shape);

private:
    enum State : unsigned char { NoEvent = 0, OneEvent = 1, OneRecord = 2, Stored = 3 };

    void addFilteredValue(long long time, unsigned char value);
    void appendToRecord(long long time, unsigned char value);
    void closeRecord(long long nextTime);
    void setLast(long long time, unsigned char value)
    {
        m_previousValue = m_lastValue;
        m_previousTime = m_lastTime;
        m_lastTime = time;
        m_lastValue = value;
    }

    long long m_address;
    WdbIBlockManager* m_manager;
    long long m_firstTime = 0;
    long long m_lastTime = -1;
    long long m_previousTime = -1;
    int m_bitPosition = -1;
    unsigned char m_bitMask = 0;
    State m_state = NoEvent;
    unsigned char m_lastValue = 0;
    unsigned char m_previousValue = 0;
    /// The open record, from the second event on. find marks it as saved.
    mutable WdbScalarTreeRecord m_record;
    /// From the second record on.
    std::unique_ptr<WdbScalarRecordStore> m_store;
    unsigned short m_fanOut;
};

/// Answers of one query, one after the other: changes further apart than the resolution as values,
/// anything closer as dense stretches, in ascending order of their times.
class TRACEWELL_API WdbScalarBTree::Iterator
{
public:
    virtual ~Iterator();

    /// False once there are no more answers.
    operator bool() const { return m_current.type != DenseEvent::Eof; }
    Iterator& operator++()
    {
        fetchDenseEvent();
        return *this;
    }
    /// Simulation time of the current answer; 0 at the end.
    long long getTime() const { return *this ? m_current.startTime : 0; }
    /// The answer at its time: a value, or the start of a dense stretch.
    WdbTimeByteValue operator*() const;
    /// For a bit tree, the byte shifted to the bit's position.
    unsigned char convertToByte(unsigned char value) const;

    /// What the query asks for and what the tree knows. `last` is the tree's last event.
    void setParameters(long long address, int bitPosition, long long firstTime, long long fromTime,
                       long long resolution, long long latestTime, const WdbTimeByteValue& last,
                       long long toTime);

protected:
    friend class WdbScalarBTree;
    using DenseEvent = WdbDenseDrawFilter::DenseEvent;

    Iterator() = default;
    Iterator(const Iterator&) = delete;
    Iterator& operator=(const Iterator&) = delete;

    /// Goes to the last event at or before fromTime, or to the first one.
    virtual void seek() = 0;
    /// Goes to the next event, or behind the record when `skipRecord`.
    virtual void advance(bool skipRecord) = 0;
    /// Sets the current event from where the iterator stands; a Block is kept in `saved` too. True
    /// when a whole record was taken as one.
    virtual bool fetch(DenseEvent& saved) = 0;

    /// Goes to the next answer.
    void fetchDenseEvent();
    /// The same by a short cut, when two changes in a row lie far apart; false when they do not.
    bool passSimple();
    /// Hands the filter at once what only moves the end of its dense stretch.
    void skipRun();
    /// What a drawing filter is told of the tree's last event.
    DenseEvent makeLastEvent() const;

    long long m_address = 0;
    int m_bitPosition = -1;
    long long m_firstTime = 0;
    long long m_fromTime = 0;
    long long m_resolution = 0;
    long long m_latestTime = 0;
    DenseEvent m_current;
    bool m_needFetch = true;
    bool m_eof = false;
    WdbTimeByteValue m_last;
    WdbDenseDrawFilter m_filter{false};
    long long m_toTime = 0;
    /// The Block fetched last. It may wait in the filter over several calls before it proves to be
    /// the history's tail.
    DenseEvent m_saved;

    /// What advance has not yet gone over of the current record: m_index up to m_count.
    const long long* m_times = nullptr;
    const unsigned char* m_values = nullptr;
    unsigned int m_index = 0;
    unsigned int m_count = 0;
};

} // namespace Tracewell
