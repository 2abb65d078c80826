// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnFile.h"

#include <limits>
#include <memory>
#include <vector>

namespace Tracewell {

/// What many changes of a field have in common.
struct ChangeSummary
{
    long long firstTime = 0;
    long long lastTime = 0;
    /// Between two changes.
    unsigned long long widestGap = 0;
    unsigned long long firstValue = 0;
    unsigned long long lastValue = 0;
};

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
    bool peekPart(ChangeSummary& out);
    /// Whether it is the first of many segments, with a summary of what they have all together.
    bool peekDigest(ChangeSummary& out);
    // To the last change of those, which are not read. time(), value() and previous() are not to be
    // used until next() or seek().
    void skipPart();
    void skipDigest();

private:
    struct Place
    {
        /// Without an index, the first one to look into.
        std::size_t segment = 0;
        std::size_t page = 0;
        /// Null in front of a segment.
        std::shared_ptr<const SegmentInfo> info;
        std::shared_ptr<const PageIndex> index;
        PageIndex::Entry part;
    };

    bool isFirst(const Place& place) const;
    bool isWithinPart() const { return m_isLoaded && m_index + 1 < m_times.size(); }
    bool findNextPlace();
    ColumnFile::InDigest lookUp(std::size_t segment);
    std::size_t segmentFrom(std::size_t segment);
    std::size_t segmentBefore(std::size_t segment);
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
    /// What comes behind it, if that was asked for.
    Place m_nextPlace;
    enum class Next { Unknown, Nothing, There } m_next = Next::Unknown;
    /// The digest that was asked last, and its answer.
    std::size_t m_digest = std::numeric_limits<std::size_t>::max();
    ColumnFile::InDigest m_inDigest = ColumnFile::InDigest::Unknown;
    DigestEntry m_entry;
    /// Of what m_place says, unless it was skipped.
    bool m_isLoaded = false;
    /// Of the part in m_place, which none behind it goes back from.
    long long m_lastTime = std::numeric_limits<long long>::min();
    PartData m_data;
    std::vector<long long> m_times;
    std::size_t m_index = 0;
};

} // namespace Tracewell
