// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarBTree.h"

#include "SaturatingTime.h"
#include "WdbScalarRecordStore.h"
#include "WdbScalarTreeCursor.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {

namespace {

/// A history without events.
class EmptyIterator : public WdbScalarBTree::Iterator
{
protected:
    void seek() override { m_eof = true; }
    void advance(bool) override {}
    bool fetch(DenseEvent&) override
    {
        m_current = DenseEvent();
        m_current.type = DenseEvent::Eof;
        return false;
    }
};

/// A history of one event.
class EventIterator : public WdbScalarBTree::Iterator
{
protected:
    void seek() override { m_index = 0; }
    void advance(bool) override
    {
        if (!m_eof) {
            ++m_index;
            m_eof = true;
        }
    }
    bool fetch(DenseEvent&) override
    {
        m_current = makeLastEvent();
        return false;
    }
};

/// A history of one record, of which it has a copy.
class RecordIterator : public EventIterator
{
public:
    RecordIterator() = default;
    explicit RecordIterator(const WdbScalarTreeRecord& record)
    {
        const unsigned int count = record.getNumberOfValues();
        m_copy.reset(new long long[count + (count + 7) / 8]);
        std::memcpy(m_copy.get(), record.getTimes(), count * sizeof(long long));
        std::memcpy(m_copy.get() + count, record.getValues(), count);
        setRecord(m_copy.get(), reinterpret_cast<const unsigned char*>(m_copy.get() + count), count,
                  record.getLargestDiff());
    }

protected:
    void setRecord(const long long* times, const unsigned char* values, unsigned int count,
                   long long largestDiff)
    {
        m_times = times;
        m_values = values;
        m_count = count;
        m_largestDiff = largestDiff;
    }

    void seek() override
    {
        const long long* const behind = std::upper_bound(m_times, m_times + m_count, m_fromTime);
        m_index = behind == m_times ? 0 : static_cast<unsigned int>(behind - m_times) - 1;
    }

    void advance(bool skipRecord) override
    {
        if (m_eof || stepInRecord(skipRecord)) {
            return;
        }
        m_eof = true;
    }

    bool fetch(DenseEvent& saved) override
    {
        if (m_largestDiff < m_resolution) {
            fetchDenseRecord(m_times[0], m_times[m_count - 1], m_values[m_count - 1], saved);
            return true;
        }
        skipRun();
        m_current = makeSimple(m_times[m_index], m_values[m_index]);
        return false;
    }

    bool stepInRecord(bool skipRecord)
    {
        ++m_index;
        if (m_index < m_count && !skipRecord) {
            return true;
        }
        m_count = 0;
        m_index = 0;
        return false;
    }

    /// A stretch of no length is answered as its value.
    void fetchDenseRecord(long long firstTime, long long lastTime, unsigned char lastValue,
                          DenseEvent& saved)
    {
        if (firstTime == lastTime) {
            m_current = makeSimple(lastTime, lastValue);
        } else {
            m_current = makeBlock(firstTime, lastTime);
            saved = m_current;
        }
    }

    static DenseEvent makeSimple(long long time, unsigned char value)
    {
        DenseEvent event;
        event.type = DenseEvent::Simple;
        event.value = value;
        event.startTime = time;
        event.endTime = time;
        return event;
    }

    static DenseEvent makeBlock(long long startTime, long long endTime)
    {
        DenseEvent event;
        event.type = DenseEvent::Block;
        event.startTime = startTime;
        event.endTime = endTime;
        return event;
    }

    long long m_largestDiff = 0;

private:
    std::unique_ptr<long long[]> m_copy;
};

/// A history of many records. It reads those that show more than one gap, and where it starts.
class BTreeIterator : public RecordIterator
{
public:
    BTreeIterator(const WdbIBlockManager& records, std::shared_ptr<const WdbScalarTreeNode> root,
                  long long target, long long resolution)
        : m_cursor(records, std::move(root), target, resolution)
    {}

protected:
    void seek() override
    {
        m_cursor.position();
        m_eof = m_cursor.isAtEnd();
        if (!m_eof && !isDense()) {
            readRecord();
            RecordIterator::seek();
        }
    }

    void advance(bool skipRecord) override
    {
        if (m_eof || stepInPieces() || stepInRecord(skipRecord)) {
            return;
        }
        m_cursor.advance();
        m_eof = m_cursor.isAtEnd();
        if (!m_eof && !isDense() && !takePieces()) {
            readRecord();
        }
    }

    bool fetch(DenseEvent& saved) override
    {
        if (m_piece < m_pieceCount) {
            m_current = m_pieces[m_piece];
            return false;
        }
        if (m_count != 0) {
            return RecordIterator::fetch(saved);
        }
        if (!m_cursor.isDense()) {
            const WdbScalarTreeNode::Record& record = m_cursor.getRecord();
            fetchDenseRecord(record.firstTime, record.lastTime, record.lastValue, saved);
            return true;
        }
        const long long start = saturatingAdd(m_firstTime, m_cursor.getLengthBefore());
        const long long end = std::min(saturatingAdd(start, m_cursor.getTotal()), m_last.getTime());
        if (start == end) {
            m_current = makeLastEvent();
        } else {
            m_current = makeBlock(start, end);
            saved = m_current;
        }
        return false;
    }

private:
    /// True when the cursor stands on what is answered as one stretch.
    bool isDense() const
    {
        return m_cursor.isDense() || m_cursor.getRecord().largestDiff < m_resolution;
    }

    void readRecord()
    {
        const long long largestDiff = m_cursor.getRecord().largestDiff;
        const WdbScalarTreeRecordImage& record = m_cursor.readRecord();
        setRecord(record.pairs.times, record.pairs.values, record.numberOfValues, largestDiff);
    }

    /// A record with no gap but the largest one that shows is two dense stretches, or one when that
    /// gap lies behind it. The filter makes the same of a Block and its last change as of all the
    /// changes, as long as none of them lies behind the view.
    bool takePieces()
    {
        const WdbScalarTreeNode::Record& record = m_cursor.getRecord();
        if (m_resolution <= 0 || record.secondDiff > m_resolution ||
            (m_toTime > 0 && record.lastTime > m_toTime)) {
            return false;
        }
        long long start = record.firstTime;
        if (record.largestDiff > m_resolution && record.gapStart != record.lastTime) {
            addPieces(start, record.gapStart, record.gapStartValue);
            start = saturatingAdd(record.gapStart, record.largestDiff);
        }
        addPieces(start, record.lastTime, record.lastValue);
        return true;
    }

    void addPieces(long long startTime, long long endTime, unsigned char lastValue)
    {
        if (startTime != endTime) {
            m_pieces[m_pieceCount++] = makeBlock(startTime, endTime);
        }
        m_pieces[m_pieceCount++] = makeSimple(endTime, lastValue);
    }

    bool stepInPieces()
    {
        if (m_piece + 1 < m_pieceCount) {
            ++m_piece;
            return true;
        }
        m_piece = 0;
        m_pieceCount = 0;
        return false;
    }

    WdbScalarTreeCursor m_cursor;
    /// Instead of a record that is not read.
    DenseEvent m_pieces[4];
    unsigned int m_piece = 0;
    unsigned int m_pieceCount = 0;
};

} // namespace

WdbScalarBTree::Iterator* WdbScalarBTree::find(long long fromTime, long long resolution,
                                               long long latestTime, long long toTime) const
{
    std::unique_ptr<Iterator> iterator;
    switch (m_state) {
    case NoEvent:
        iterator = std::make_unique<EmptyIterator>();
        break;
    case OneEvent:
        iterator = std::make_unique<EventIterator>();
        break;
    case OneRecord:
        iterator = std::make_unique<RecordIterator>(m_record);
        break;
    case Stored:
        m_record.updateIndexLength();
        m_store->saveRecord(m_record);
        iterator = std::make_unique<BTreeIterator>(
            *m_manager, m_store->getRoot(), saturatingSubtract(fromTime, m_firstTime), resolution);
        break;
    default:
        return nullptr;
    }
    WdbTimeByteValue last;
    last.setTime(std::max(m_lastTime, 0LL));
    last.setValue(static_cast<char>(m_lastValue));
    iterator->setParameters(m_address, m_bitPosition, m_firstTime, fromTime, resolution, latestTime,
                            last, toTime);
    iterator->seek();
    iterator->fetchDenseEvent();
    return iterator.release();
}

WdbScalarBTree::Iterator::~Iterator() = default;

WdbTimeByteValue WdbScalarBTree::Iterator::operator*() const
{
    WdbTimeByteValue answer;
    if (m_current.type == DenseEvent::Blank) {
        return answer;
    }
    answer.setTime(m_current.startTime);
    if (m_current.type == DenseEvent::Simple) {
        answer.setValue(static_cast<char>(m_current.value));
    } else if (m_current.type == DenseEvent::Dense) {
        answer.setDenseDraw();
    }
    return answer;
}

unsigned char WdbScalarBTree::Iterator::convertToByte(unsigned char value) const
{
    if (m_bitPosition < 0) {
        return value;
    }
    return m_bitPosition < 8 ? static_cast<unsigned char>(value << m_bitPosition)
                             : static_cast<unsigned char>(0);
}

void WdbScalarBTree::Iterator::setParameters(long long address, int bitPosition,
                                             long long firstTime, long long fromTime,
                                             long long resolution, long long latestTime,
                                             const WdbTimeByteValue& last, long long toTime)
{
    m_address = address;
    m_bitPosition = bitPosition;
    m_firstTime = firstTime;
    m_fromTime = fromTime;
    m_resolution = resolution;
    m_latestTime = latestTime;
    m_last = last;
    m_toTime = toTime;
    m_needFetch = true;
    m_eof = false;
    m_filter.setResolution(resolution);
}

void WdbScalarBTree::Iterator::fetchDenseEvent()
{
    if (passSimple()) {
        return;
    }
    const auto setEof = [this](long long time) {
        m_current = DenseEvent();
        m_current.type = DenseEvent::Eof;
        m_current.startTime = time;
        m_current.endTime = time;
    };

    bool splitting = false;
    for (;;) {
        if (m_needFetch) {
            bool wholeRecord = false;
            if (splitting && m_saved.type != DenseEvent::None) {
                m_current = m_saved;
                m_current.endTime = m_last.getTime();
                m_saved = DenseEvent();
            } else if (splitting) {
                m_current = makeLastEvent();
                splitting = false;
            } else if (m_eof) {
                setEof(m_latestTime);
            } else {
                wholeRecord = fetch(m_saved);
            }
            if (m_toTime > 0 && m_current.startTime > m_toTime) {
                setEof(m_toTime + 1);
                m_filter.addDenseEvent(m_current);
            } else {
                m_filter.addDenseEvent(m_current);
                advance(wholeRecord);
            }
        }
        switch (m_filter.process(m_current)) {
        case WdbDenseDrawFilter::EmitPending:
            m_needFetch = true;
            return;
        case WdbDenseDrawFilter::NeedMore:
            m_needFetch = true;
            break;
        case WdbDenseDrawFilter::EmitQueued:
            m_needFetch = false;
            return;
        case WdbDenseDrawFilter::SplitBlock:
            m_needFetch = true;
            splitting = true;
            break;
        case WdbDenseDrawFilter::Finished:
            setEof(m_latestTime);
            m_needFetch = false;
            return;
        }
    }
}

bool WdbScalarBTree::Iterator::passSimple()
{
    if (m_needFetch || m_index + 1 >= m_count || !m_filter.isPassing()) {
        return false;
    }
    const long long time = m_times[m_index];
    const long long distance = saturatingSubtract(time, m_filter.getPendingTime());
    if (distance <= std::max(m_resolution, 0LL) || (m_toTime > 0 && time > m_toTime)) {
        return false;
    }
    m_filter.passSimple(time, m_values[m_index], m_current);
    ++m_index;
    return true;
}

void WdbScalarBTree::Iterator::skipRun()
{
    if (!m_filter.isInRun()) {
        return;
    }
    const unsigned int start = m_index;
    long long end = m_filter.getRunEnd();
    while (m_index + 1 < m_count && saturatingSubtract(m_times[m_index], end) <= m_resolution) {
        end = m_times[m_index];
        ++m_index;
    }
    if (m_index == start) {
        return;
    }
    const long long before = m_index - start > 1 ? m_times[m_index - 2] : m_filter.getRunEnd();
    m_filter.extendRun(before, end, m_values[m_index - 1]);
}

WdbDenseDrawFilter::DenseEvent WdbScalarBTree::Iterator::makeLastEvent() const
{
    DenseEvent event;
    switch (m_last.getValueType()) {
    case WdbByteValue::Value:
        event.type = DenseEvent::Simple;
        event.value = m_last.getValue();
        break;
    case WdbByteValue::DenseDraw:
        event.type = DenseEvent::Dense;
        break;
    default:
        event.type = DenseEvent::Blank;
    }
    event.startTime = m_last.getTime();
    event.endTime = m_last.getTime();
    return event;
}

} // namespace Tracewell
