// SPDX-License-Identifier: BSD-3-Clause

#include "WdbColumnReplay.h"

#include "ColumnFile.h"

#include <algorithm>
#include <utility>

namespace Tracewell {

/// The changes of a segment: by their fields, and the order in which they come.
struct WdbColumnReplay::Segment
{
    std::vector<long long> times;
    std::vector<Change> changes;
    /// Where in `order` those of each time number begin, and one more.
    std::vector<std::uint32_t> begins;
    std::vector<std::uint32_t> order;
    std::uint32_t number = 0;

    bool isAtEnd() const { return number == times.size(); }
};

WdbColumnReplay::WdbColumnReplay(ColumnFile& file, std::vector<unsigned int> wanted)
    : m_file(file), m_wanted(std::move(wanted)), m_segment(std::make_unique<Segment>())
{
    std::sort(m_wanted.begin(), m_wanted.end());
}

WdbColumnReplay::~WdbColumnReplay() = default;

bool WdbColumnReplay::next()
{
    m_changes.clear();
    for (;;) {
        while (m_segment->isAtEnd()) {
            if (!loadNext()) {
                return !m_changes.empty();
            }
        }
        // What a segment ends with may go on in the next one.
        const long long time = m_segment->times[m_segment->number];
        if (!m_changes.empty() && time != m_time) {
            return true;
        }
        m_time = time;
        takeStep();
        if (!m_changes.empty() && !m_segment->isAtEnd()) {
            return true;
        }
    }
}

void WdbColumnReplay::takeStep()
{
    const std::uint32_t number = m_segment->number++;
    for (std::uint32_t i = m_segment->begins[number]; i < m_segment->begins[number + 1]; ++i) {
        m_changes.push_back(m_segment->changes[m_segment->order[i]]);
    }
}

bool WdbColumnReplay::loadNext()
{
    if (m_isBroken || m_nextSegment == m_file.segments().size()) {
        return false;
    }
    const std::size_t number = m_nextSegment++;
    Segment& segment = *m_segment;
    segment.times.clear();
    segment.changes.clear();
    segment.number = 0;
    // Until all of it is there.
    m_isBroken = true;
    const auto info = m_file.segment(number);
    if (!info) {
        return false;
    }
    for (std::size_t chunk = 0; chunk < info->chunks.size(); ++chunk) {
        const TimeChunkRecord& record = info->chunks[chunk];
        const bool isEven = TimeChunk::isEven(record);
        const auto times = isEven ? nullptr : m_file.times(number, chunk);
        if ((!times && !isEven) ||
            (!segment.times.empty() && record.firstTime < segment.times.back())) {
            segment.times.clear();
            return false;
        }
        const std::size_t end =
            std::min<std::size_t>((chunk + 1) * kTimesOfChunk, info->head.times);
        for (std::uint32_t i = 0; segment.times.size() < end; ++i) {
            segment.times.push_back(isEven ? TimeChunk::evenTime(record, i) : times->at(i));
        }
    }
    std::vector<std::uint32_t> numbers;
    PartData data;
    for (std::size_t p = 0; p < info->pages.size(); ++p) {
        const PageRecord& page = info->pages[p];
        auto wanted = std::lower_bound(m_wanted.begin(), m_wanted.end(), page.firstField);
        if (!m_wanted.empty() && (wanted == m_wanted.end() || *wanted > page.lastField)) {
            continue;
        }
        const auto index = m_file.pageIndex(number, p);
        const auto pageData = index ? m_file.pageData(number, p) : nullptr;
        if (!pageData) {
            segment.times.clear();
            return false;
        }
        PageIndex::Entry part = index->at(0);
        for (bool isThere = true; isThere; isThere = index->next(part)) {
            const std::uint32_t field = part.info.field;
            // Both ascend.
            while (wanted != m_wanted.end() && *wanted < field) {
                ++wanted;
            }
            if (!m_wanted.empty() && (wanted == m_wanted.end() || *wanted != field)) {
                continue;
            }
            if (m_file.fields().at(field).size == 0 ||
                !readPart(*index, *pageData, part, info->head, data) ||
                segment.changes.size() + data.values.size() > info->head.changes) {
                m_file.noteDamage(number, m_file.segments()[number].offset + page.dataOffset,
                                  page.dataStored);
                segment.times.clear();
                return false;
            }
            for (std::size_t k = 0; k < data.values.size(); ++k) {
                segment.changes.push_back({field, data.values[k]});
            }
            numbers.insert(numbers.end(), data.numbers.begin(), data.numbers.end());
        }
    }
    segment.begins.assign(segment.times.size() + 1, 0);
    for (const std::uint32_t time : numbers) {
        ++segment.begins[time + 1];
    }
    for (std::size_t i = 1; i < segment.begins.size(); ++i) {
        segment.begins[i] += segment.begins[i - 1];
    }
    segment.order.resize(numbers.size());
    std::vector<std::uint32_t> places(segment.begins.begin(), segment.begins.end() - 1);
    for (std::uint32_t i = 0; i < numbers.size(); ++i) {
        segment.order[places[numbers[i]]++] = i;
    }
    m_isBroken = false;
    return true;
}

} // namespace Tracewell
