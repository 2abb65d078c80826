// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <memory>

namespace Tracewell {

class ColumnFile;
class FieldWalk;
struct ChangeSummary;

/// What one field holds in a stretch of time, answer by answer. The first answer is what holds at
/// the start, with the time at which it came up, if that is known; those that follow are changes in
/// the stretch. Changes that lie at most `resolution` apart are dense: one answer that says so
/// where they begin, and one with the value that the last of them brings. Runs that are dense as a
/// whole are not read. Of a counter each change is an answer, those of one time as well. Made by a
/// WdbColumnReader, which outlives it; worthless after its refresh.
class TRACEWELL_API WdbColumnHistory
{
public:
    WdbColumnHistory(const WdbColumnHistory&) = delete;
    WdbColumnHistory& operator=(const WdbColumnHistory&) = delete;
    ~WdbColumnHistory();

    /// To the next answer; false when there is none.
    bool next();
    long long getTime() const { return m_time; }
    bool isDense() const { return m_isDense; }
    /// The bytes of the field, the first one lowest. Not of a dense answer.
    unsigned long long getValue() const { return m_value; }

private:
    friend class WdbColumnReader;

    /// A change, or a run of them that is dense in itself.
    struct Item
    {
        long long firstTime;
        long long lastTime;
        unsigned long long value;
    };

    WdbColumnHistory(ColumnFile& file, unsigned int field, bool isCounter, long long from,
                     long long to, long long resolution);
    void findStart();
    void shorten(Item& run);
    bool readItem(Item& out);
    bool readRun(Item& out);
    bool isRun(const ChangeSummary& all) const;
    void answer(long long time, bool isDense, unsigned long long value);

    ColumnFile& m_file;
    unsigned int m_field;
    std::unique_ptr<FieldWalk> m_walk;
    bool m_isCounter;
    long long m_from;
    long long m_to;
    unsigned long long m_resolution;
    /// Whether the walk stands at a change that no item has yet.
    bool m_isWaiting = false;
    /// Of the items so far.
    bool m_hasValue = false;
    unsigned long long m_lastValue = 0;
    long long m_lastTime = 0;
    bool m_hasComing = false;
    Item m_coming{};
    bool m_isInStretch = false;
    /// The end of a run is still to be told.
    bool m_isEndDue = false;
    long long m_dueTime = 0;
    unsigned long long m_dueValue = 0;

    long long m_time = 0;
    bool m_isDense = false;
    unsigned long long m_value = 0;
};

} // namespace Tracewell
