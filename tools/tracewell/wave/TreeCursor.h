#pragma once

#include "wave/SignalCursor.h"

#include "WdbScalarBTree.h"

#include <memory>
#include <vector>

namespace tracewell {

/// The history of a signal in an event database: what a reader's getValueEvents tells of its trees,
/// without holding more than one answer in memory.
class TreeCursor : public SignalCursor
{
public:
    /// One tree for each byte of the plain value, then either none or eight for the override. The
    /// trees must outlive the cursor. `latestTime` is the recording's.
    TreeCursor(const Signal& signal, const std::vector<Tracewell::WdbScalarBTree*>& trees,
               const TimeWindow& window, long long latestTime);

    bool next() override;

private:
    struct Column
    {
        std::unique_ptr<Tracewell::WdbScalarBTree::Iterator> iterator;
        Tracewell::WdbByteValue value;
    };
    struct Due
    {
        long long time = 0;
        std::size_t column = 0;
        /// For a heap with the earliest on top.
        bool operator<(const Due& other) const { return time > other.time; }
    };

    void makeDue(std::size_t column);
    /// Takes over all answers up to `time`; false when they change nothing.
    bool takeUpTo(long long time);
    bool take(std::size_t column);
    void setKind(const Tracewell::WdbByteValue& before, const Tracewell::WdbByteValue& now,
                 bool plain);
    void finishState();
    void countFirings();

    bool m_event;
    std::size_t m_plainColumns;
    long long m_from;
    long long m_to;
    bool m_started = false;
    std::vector<Column> m_columns;
    std::vector<Due> m_due;
    std::vector<unsigned char> m_overrideBytes;
    std::size_t m_blankColumns;
    std::size_t m_denseColumns = 0;
    bool m_countKnown = true;
    unsigned char m_lastCount = 0;
};

} // namespace tracewell
