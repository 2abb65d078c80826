// SPDX-License-Identifier: BSD-3-Clause

#include "SegmentEncoder.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {

SegmentEncoder::SegmentEncoder(const FieldRuns& fields)
    : m_places(fields.count()), m_numbers(new std::uint32_t[kMostChanges]),
      m_values(new std::uint64_t[kMostChanges])
{
    for (const FieldRun& run : fields.runs()) {
        m_isCounter.insert(m_isCounter.end(), run.count, (run.flags & 1) != 0);
    }
}

const Bytes& SegmentEncoder::encode(const ChangeLog& log, const Stretch& stretch,
                                    SegmentRecord& record, DigestBuilder* digest)
{
    const std::size_t fields = log.firstNewField + stretch.endField;
    m_isCounter.resize(std::max(m_isCounter.size(), fields));
    m_places.resize(std::max(m_places.size(), fields));
    m_pages.clear();
    m_index.clear();
    m_data.clear();
    m_timeBytes.clear();

    // Numbers count from the stretch's first time on.
    const std::uint32_t firstNumber = log.changes[stretch.beginChange].time;
    const std::uint32_t endNumber = log.changes[stretch.endChange - 1].time + 1;
    const long long* const times = log.times.get() + firstNumber;

    sort(log, stretch);
    addFields(times, digest);
    std::vector<TimeChunkRecord> chunks;
    addTimes(times, endNumber - firstNumber, chunks);

    SegmentHead head{};
    head.magic = kSegmentMagic;
    head.changes = stretch.endChange - stretch.beginChange;
    head.times = endNumber - firstNumber;
    head.timeChunks = static_cast<std::uint32_t>(chunks.size());
    head.pages = static_cast<std::uint32_t>(m_pages.size());
    head.firstNewField = log.firstNewField + stretch.beginField;
    head.newFields = stretch.endField - stretch.beginField;
    FieldRuns newFields;
    for (std::uint32_t i = stretch.beginField; i < stretch.endField; ++i) {
        const FieldRuns::Field field = log.newFields.at(i);
        newFields.add(field.address, field.size, field.isCounter);
    }
    head.newRuns = static_cast<std::uint32_t>(newFields.runs().size());
    head.firstTime = times[0];
    head.lastTime = times[head.times - 1];
    if (digest != nullptr) {
        digest->finishSegment(head.firstTime, head.lastTime);
    }
    const std::size_t headSize = sizeof head + chunks.size() * sizeof(TimeChunkRecord) +
                                 head.newRuns * sizeof(FieldRun) +
                                 m_pages.size() * sizeof(PageRecord) + sizeof(std::uint64_t);
    head.headSize = static_cast<std::uint32_t>(headSize);

    const auto indexBegin = static_cast<std::uint32_t>(headSize);
    const auto timesBegin = static_cast<std::uint32_t>(indexBegin + m_index.size());
    const auto dataBegin = static_cast<std::uint32_t>(timesBegin + m_timeBytes.size());
    m_segment.clear();
    m_segment.reserve(dataBegin + m_data.size());
    appendRecord(m_segment, head);
    for (TimeChunkRecord& chunk : chunks) {
        chunk.offset += timesBegin;
        appendRecord(m_segment, chunk);
    }
    for (const FieldRun& run : newFields.runs()) {
        appendRecord(m_segment, run);
    }
    for (PageRecord& page : m_pages) {
        page.indexOffset += indexBegin;
        page.dataOffset += dataBegin;
        appendRecord(m_segment, page);
    }
    const std::uint64_t checksum = checksumOf(m_segment.data(), m_segment.size());
    appendRecord(m_segment, checksum);
    m_segment.insert(m_segment.end(), m_index.begin(), m_index.end());
    m_segment.insert(m_segment.end(), m_timeBytes.begin(), m_timeBytes.end());
    m_segment.insert(m_segment.end(), m_data.begin(), m_data.end());

    record.size = m_segment.size();
    record.firstTime = head.firstTime;
    record.lastTime = head.lastTime;
    record.changes = head.changes;
    record.newFields = head.newFields;
    record.headChecksum = checksum;
    return m_segment;
}

void SegmentEncoder::sort(const ChangeLog& log, const Stretch& stretch)
{
    std::fill(m_places.begin(), m_places.end(), 0);
    const LoggedChange* const begin = log.changes.get() + stretch.beginChange;
    const LoggedChange* const end = log.changes.get() + stretch.endChange;
    for (const LoggedChange* change = begin; change != end; ++change) {
        ++m_places[change->field];
    }
    std::uint32_t place = 0;
    for (std::uint32_t& slot : m_places) {
        const std::uint32_t count = slot;
        slot = place;
        place += count;
    }
    const std::uint32_t firstNumber = begin->time;
    for (const LoggedChange* change = begin; change != end; ++change) {
        const std::uint32_t slot = m_places[change->field]++;
        m_numbers[slot] = change->time - firstNumber;
        m_values[slot] = change->value;
    }
}

void SegmentEncoder::addFields(const long long* times, DigestBuilder* digest)
{
    m_page.begin(times);
    const auto finishPage = [&] {
        const auto index = static_cast<std::uint32_t>(m_index.size());
        const auto data = static_cast<std::uint32_t>(m_data.size());
        PageRecord record = m_page.finish(m_index, m_data);
        record.indexOffset = index;
        record.dataOffset = data;
        m_pages.push_back(record);
    };
    std::uint32_t begin = 0;
    for (std::uint32_t field = 0; field < m_places.size(); ++field) {
        const std::uint32_t end = m_places[field];
        if (begin == end) {
            continue;
        }
        const std::uint32_t kept = dropRepeats(field, begin, end);
        if (digest != nullptr) {
            digest->add({field, m_isCounter[field], kept, times, m_numbers.get() + begin,
                         m_values.get() + begin});
        }
        for (std::uint32_t done = 0; done < kept; done += kMostInPart) {
            const std::uint32_t at = begin + done;
            m_page.add({field, std::min(kept - done, kMostInPart), m_numbers.get() + at,
                        m_values.get() + at});
            if (m_page.isFull()) {
                finishPage();
            }
        }
        begin = end;
    }
    if (!m_page.isEmpty()) {
        finishPage();
    }
}

/// Of a field that does not count, the last change of each time stays, if it is one. The new end is
/// `begin` plus the answer, which is never 0.
std::uint32_t SegmentEncoder::dropRepeats(std::uint32_t field, std::uint32_t begin,
                                          std::uint32_t end)
{
    if (m_isCounter[field]) {
        return end - begin;
    }
    std::uint32_t* const numbers = m_numbers.get() + begin;
    std::uint64_t* const values = m_values.get() + begin;
    const std::uint32_t count = end - begin;
    std::uint32_t kept = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const bool isLast = i + 1 == count || numbers[i + 1] != numbers[i];
        if (isLast && (kept == 0 || values[kept - 1] != values[i])) {
            numbers[kept] = numbers[i];
            values[kept] = values[i];
            ++kept;
        }
    }
    return kept;
}

void SegmentEncoder::addTimes(const long long* times, std::uint32_t count,
                              std::vector<TimeChunkRecord>& chunks)
{
    for (std::uint32_t begin = 0; begin < count; begin += kTimesOfChunk) {
        const std::uint32_t size = std::min(count - begin, kTimesOfChunk);
        const auto stepAt = [&](std::uint32_t i) {
            return static_cast<std::uint64_t>(times[begin + i]) -
                   static_cast<std::uint64_t>(times[begin + i - 1]);
        };
        TimeChunkRecord chunk{};
        chunk.firstTime = times[begin];
        chunk.step = size > 1 ? stepAt(1) : 0;
        chunk.offset = static_cast<std::uint32_t>(m_timeBytes.size());
        std::uint64_t all = 0;
        bool isEven = true;
        for (std::uint32_t i = 1; i < size; ++i) {
            const std::uint64_t step = stepAt(i);
            all |= step;
            isEven = isEven && step == chunk.step;
        }
        if (!isEven) {
            chunk.step = 0;
            for (chunk.width = 1; chunk.width < 8 && all >> (8 * chunk.width) != 0;) {
                ++chunk.width;
            }
            m_scratch.clear();
            for (unsigned int plane = 0; plane < chunk.width; ++plane) {
                for (std::uint32_t i = 1; i < size; ++i) {
                    m_scratch.push_back(static_cast<unsigned char>(stepAt(i) >> (8 * plane)));
                }
            }
            chunk.codec = static_cast<std::uint8_t>(
                m_packer.append(m_timeBytes, m_scratch.data(), m_scratch.size()));
            chunk.stored = static_cast<std::uint32_t>(m_timeBytes.size()) - chunk.offset;
        }
        chunk.checksum = checksumOf(m_timeBytes.data() + chunk.offset, chunk.stored);
        chunks.push_back(chunk);
    }
}

} // namespace Tracewell
