// SPDX-License-Identifier: BSD-3-Clause

#include "FieldWalk.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Tracewell {

namespace {

constexpr long long kNoTime = std::numeric_limits<long long>::min();
constexpr long long kEver = std::numeric_limits<long long>::max();
constexpr std::size_t kNoSegment = std::numeric_limits<std::size_t>::max();

} // namespace

FieldWalk::FieldWalk(ColumnFile& file, std::uint32_t field) : m_file(file), m_field(field) {}

bool FieldWalk::seek(long long time)
{
    const std::vector<SegmentRecord>& segments = m_file.segments();
    const auto behind = std::upper_bound(
        segments.begin(), segments.end(), time,
        [](long long t, const SegmentRecord& record) { return t < record.firstTime; });
    m_next = Next::Unknown;
    for (auto i = static_cast<std::size_t>(behind - segments.begin());
         (i = segmentBefore(i)) != kNoSegment;) {
        Place place;
        if (!findLast(i, place)) {
            continue;
        }
        for (;;) {
            const bool isBehind = place.part.info.hasSummary() && place.part.info.firstTime > time;
            if (!isBehind && load(place, kNoTime, kEver)) {
                const auto end = std::upper_bound(m_times.begin(), m_times.end(), time);
                if (end != m_times.begin()) {
                    m_index = static_cast<std::size_t>(end - m_times.begin()) - 1;
                    return true;
                }
            }
            if (isFirst(place) || !findPrevious(place) || place.segment != i) {
                break;
            }
        }
    }
    m_place = {};
    m_next = Next::Unknown;
    m_isLoaded = false;
    m_lastTime = kNoTime;
    return false;
}

bool FieldWalk::next()
{
    if (m_isLoaded && m_index + 1 < m_times.size()) {
        ++m_index;
        return true;
    }
    if (!findNextPlace()) {
        return false;
    }
    Place place = std::move(m_nextPlace);
    m_next = Next::Unknown;
    do {
        if (load(place, m_lastTime, kEver)) {
            m_index = 0;
            return true;
        }
    } while (findNext(place));
    return false;
}

bool FieldWalk::previous()
{
    if (!m_isLoaded) {
        return false;
    }
    if (m_index > 0) {
        --m_index;
        return true;
    }
    const long long first = m_times.front();
    Place place = m_place;
    while (findPrevious(place)) {
        if (load(place, kNoTime, first)) {
            m_index = m_times.size() - 1;
            return true;
        }
    }
    return false;
}

bool FieldWalk::peekPart(ChangeSummary& out)
{
    if (isWithinPart() || !findNextPlace()) {
        return false;
    }
    const PartInfo& part = m_nextPlace.part.info;
    out = {part.firstTime, part.lastTime, part.widestGap, part.firstValue, part.lastValue};
    return part.hasSummary() && part.firstTime >= m_lastTime;
}

bool FieldWalk::peekDigest(ChangeSummary& out)
{
    // A part that is full may not be the last one of its field in the segment.
    if (isWithinPart() || (m_place.index && m_place.part.info.count == kMostInPart)) {
        return false;
    }
    const std::size_t next = segmentFrom(m_place.index ? m_place.segment + 1 : m_place.segment);
    if (next >= m_file.segments().size() || lookUp(next) != ColumnFile::InDigest::Present ||
        !m_entry.hasSummary || next % kSegmentsOfDigest != m_entry.firstSegment ||
        m_entry.firstTime < m_lastTime) {
        return false;
    }
    out = {m_entry.firstTime, m_entry.lastTime, m_entry.widestGap, m_entry.firstValue,
           m_entry.lastValue};
    return true;
}

void FieldWalk::skipPart()
{
    m_place = std::move(m_nextPlace);
    m_next = Next::Unknown;
    m_isLoaded = false;
    m_lastTime = m_place.part.info.lastTime;
}

void FieldWalk::skipDigest()
{
    m_place = {};
    m_place.segment = m_digest * kSegmentsOfDigest + m_entry.lastSegment + 1;
    m_next = Next::Unknown;
    m_isLoaded = false;
    m_lastTime = m_entry.lastTime;
}

bool FieldWalk::findNextPlace()
{
    if (m_next == Next::Unknown) {
        m_nextPlace = m_place;
        m_next = findNext(m_nextPlace) ? Next::There : Next::Nothing;
    }
    return m_next == Next::There;
}

/// Where a digest knows of the segment, m_entry is what it says.
ColumnFile::InDigest FieldWalk::lookUp(std::size_t segment)
{
    const std::size_t digest = segment / kSegmentsOfDigest;
    if (digest != m_digest) {
        m_digest = digest;
        m_inDigest = m_file.lookUp(digest, m_field, m_entry);
    }
    return m_inDigest;
}

/// From that one on the first that may have the field; as many as there are, without one.
std::size_t FieldWalk::segmentFrom(std::size_t segment)
{
    while (segment < m_file.segments().size()) {
        const ColumnFile::InDigest known = lookUp(segment);
        if (known == ColumnFile::InDigest::Unknown) {
            return segment;
        }
        const std::size_t begin = m_digest * kSegmentsOfDigest;
        if (known == ColumnFile::InDigest::Present && segment <= begin + m_entry.lastSegment) {
            return std::max(segment, begin + m_entry.firstSegment);
        }
        segment = begin + kSegmentsOfDigest;
    }
    return m_file.segments().size();
}

/// Before that one the last that may have the field.
std::size_t FieldWalk::segmentBefore(std::size_t segment)
{
    while (segment > 0) {
        const ColumnFile::InDigest known = lookUp(segment - 1);
        if (known == ColumnFile::InDigest::Unknown) {
            return segment - 1;
        }
        const std::size_t begin = m_digest * kSegmentsOfDigest;
        if (known == ColumnFile::InDigest::Present && segment > begin + m_entry.firstSegment) {
            return std::min(segment - 1, begin + m_entry.lastSegment);
        }
        segment = begin;
    }
    return kNoSegment;
}

bool FieldWalk::isFirst(const Place& place) const
{
    if (place.part.number > 0) {
        PageIndex::Entry first;
        return !place.index->find(m_field, first) || first.number == place.part.number;
    }
    return place.page == 0 || !hasPartIn(place, place.page - 1);
}

bool FieldWalk::openPage(Place& place, std::size_t page)
{
    place.page = page;
    place.index = m_file.pageIndex(place.segment, page);
    return place.index != nullptr;
}

bool FieldWalk::findFirst(std::size_t segment, Place& out)
{
    out = {};
    out.segment = segment;
    out.info = m_file.segment(segment);
    if (!out.info) {
        return false;
    }
    const std::vector<PageRecord>& pages = out.info->pages;
    const auto page = static_cast<std::size_t>(
        std::lower_bound(pages.begin(), pages.end(), m_field,
                         [](const PageRecord& record, std::uint32_t field) {
                             return record.lastField < field;
                         }) -
        pages.begin());
    return hasPartIn(out, page) && openPage(out, page) && out.index->find(m_field, out.part);
}

bool FieldWalk::findLast(std::size_t segment, Place& out)
{
    if (!findFirst(segment, out)) {
        return false;
    }
    for (;;) {
        // A part that is not full is the last one of its field.
        Place place = out;
        if (out.part.info.count < kMostInPart || !findNext(place) || place.segment != segment) {
            return true;
        }
        out = std::move(place);
    }
}

/// The part behind `place`, in whatever segment.
bool FieldWalk::findNext(Place& place)
{
    std::size_t segment = place.segment;
    if (place.index) {
        if (place.part.info.count == kMostInPart) {
            PageIndex::Entry part = place.part;
            if (place.index->next(part)) {
                if (part.info.field == m_field) {
                    place.part = part;
                    return true;
                }
            } else if (hasPartIn(place, place.page + 1) && openPage(place, place.page + 1)) {
                place.part = place.index->at(0);
                return true;
            }
        }
        ++segment;
    }
    while ((segment = segmentFrom(segment)) < m_file.segments().size()) {
        if (findFirst(segment, place)) {
            return true;
        }
        ++segment;
    }
    return false;
}

bool FieldWalk::findPrevious(Place& place)
{
    if (!isFirst(place)) {
        if (place.part.number > 0) {
            place.part = place.index->at(place.part.number - 1);
            return true;
        }
        if (openPage(place, place.page - 1)) {
            place.part = place.index->at(place.index->count() - 1);
            return true;
        }
    }
    for (std::size_t segment = place.segment; (segment = segmentBefore(segment)) != kNoSegment;) {
        if (findLast(segment, place)) {
            return true;
        }
    }
    return false;
}

bool FieldWalk::load(const Place& place, long long from, long long to)
{
    m_isLoaded = false;
    const auto data = m_file.pageData(place.segment, place.page);
    if (!data) {
        return false;
    }
    const auto refuse = [&] {
        const PageRecord& page = place.info->pages[place.page];
        m_file.noteDamage(place.segment, m_file.segments()[place.segment].offset + page.dataOffset,
                          page.dataStored);
        return false;
    };
    const PartInfo& part = place.part.info;
    if (!readPart(*place.index, *data, place.part, place.info->head, m_data)) {
        return refuse();
    }
    m_times.resize(m_data.numbers.size());
    for (std::size_t i = 0; i < m_times.size();) {
        const std::size_t chunk = m_data.numbers[i] / kTimesOfChunk;
        const std::uint64_t end = (std::uint64_t{chunk} + 1) * kTimesOfChunk;
        const TimeChunkRecord& record = place.info->chunks[chunk];
        if (TimeChunk::isEven(record)) {
            for (; i < m_times.size() && m_data.numbers[i] < end; ++i) {
                m_times[i] = TimeChunk::evenTime(record, m_data.numbers[i] % kTimesOfChunk);
            }
            continue;
        }
        const auto times = m_file.times(place.segment, chunk);
        if (!times) {
            return false;
        }
        for (; i < m_times.size() && m_data.numbers[i] < end; ++i) {
            m_times[i] = times->at(m_data.numbers[i] % kTimesOfChunk);
        }
    }
    if (m_times.front() < from || m_times.back() > to ||
        (part.hasSummary() &&
         (m_times.front() != part.firstTime || m_times.back() != part.lastTime ||
          m_data.values.back() != part.lastValue))) {
        return refuse();
    }
    m_place = place;
    m_next = Next::Unknown;
    m_isLoaded = true;
    m_lastTime = m_times.back();
    return true;
}

} // namespace Tracewell
