// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnFile.h"

#include <limits>
#include <memory>
#include <vector>

namespace Tracewell {

/// Steps through the changes of one field. A segment that is damaged has none for it.
class FieldWalk
{
public:
    /// The file outlives it. Stands before the first change.
    FieldWalk(ColumnFile& file, std::uint32_t field);

    /// To the last change at `time` or before; false, and before the first change, without one.
    bool seek(long long time);
    /// False when there is no other one, or none that is not damaged; to go on, seek.
    bool next();
    bool previous();

    long long time() const { return m_times[m_index]; }
    std::uint64_t value() const { return m_data.values[m_index]; }
    /// As next() does, while what comes lies within the same part and is not the last of it; there
    /// times ascend and values change, so that nobody need compare.
    bool nextWithin()
    {
        if (m_isLoaded && m_index + 2 < m_times.size()) {
            ++m_index;
            return true;
        }
        return false;
    }
    /// The first one that its segment has.
    bool isFirstOfSegment() const { return m_index == 0 && isFirst(m_place); }

    /// Whether the next change begins a part with a summary; `out` is that.
    bool peekSummary(PartInfo& out);
    /// To the last change of that part, which is not read. time(), value() and previous() are not
    /// to be used until next() or seek().
    void skipPart();

private:
    struct Place
    {
        std::size_t segment = 0;
        std::size_t page = 0;
        /// Null before the first change.
        std::shared_ptr<const SegmentInfo> info;
        std::shared_ptr<const PageIndex> index;
        PageIndex::Entry part;
    };

    bool isFirst(const Place& place) const;
    bool findFirst(std::size_t segment, Place& out);
    bool findLast(std::size_t segment, Place& out);
    bool findNext(Place& out);
    bool findPrevious(Place& out);
    /// Only if its changes lie in that stretch of time.
    bool load(const Place& place, long long from, long long to);
    bool openPage(Place& place, std::size_t page);
    bool hasPartIn(const Place& place, std::size_t page) const
    {
        return page < place.info->pages.size() && place.info->pages[page].firstField <= m_field &&
               place.info->pages[page].lastField >= m_field;
    }

    ColumnFile& m_file;
    std::uint32_t m_field;
    Place m_place;
    /// Of what m_place says, unless it was skipped.
    bool m_isLoaded = false;
    /// Of the part in m_place, which none behind it goes back from.
    long long m_lastTime = std::numeric_limits<long long>::min();
    PartData m_data;
    std::vector<long long> m_times;
    std::size_t m_index = 0;
};

} // namespace Tracewell
