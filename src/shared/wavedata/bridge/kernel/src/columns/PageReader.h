// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "FieldRuns.h"

#include <algorithm>
#include <array>
#include <vector>

namespace Tracewell {

using StreamPlaces = std::array<std::uint32_t, kStreams>;

/// What the index of a page tells of a part.
struct PartInfo
{
    std::uint32_t field = 0;
    std::uint32_t count = 0;
    StepForm stepForm = StepForm::Even;
    ValueForm valueForm = ValueForm::Alternating;
    /// By planes: those that are there.
    std::uint8_t mask = 0;
    std::uint32_t firstNumber = 0;
    std::uint32_t step = 0;
    /// How many parts before it is the one with the same numbers.
    std::uint32_t distance = 0;
    std::uint64_t firstValue = 0;
    std::uint64_t secondValue = 0;

    bool hasSummary() const { return count > kSummarized; }
    // Of a summary.
    std::int64_t firstTime = 0;
    std::int64_t lastTime = 0;
    std::uint64_t widestGap = 0;
    std::uint64_t lastValue = 0;
};

/// The index of a page, unpacked and found to make sense. Its parts are read when they are asked
/// for: there may be many indexes in memory, and so they are small.
class PageIndex
{
public:
    /// A part with its place in the index and in the streams.
    struct Entry
    {
        std::uint32_t number = 0;
        PartInfo info;
        StreamPlaces places{};
        // What comes behind it.
        std::uint32_t end = 0;
        StreamPlaces endPlaces{};
    };

    std::uint32_t count() const { return m_count; }
    Entry at(std::uint32_t number) const;
    /// To the part behind; false when there is none.
    bool next(Entry& entry) const;
    /// The first part of the field; false when there is none.
    bool find(std::uint32_t field, Entry& out) const;
    std::size_t bytes() const
    {
        return sizeof *this + m_raw.size() + m_marks.size() * sizeof(Mark);
    }

private:
    friend bool readPageIndex(const Bytes& stored, const PageRecord& page,
                              const SegmentHead& segment, PageIndex& out);

    /// How a walk through parts stands before one of them.
    struct Mark
    {
        std::uint32_t offset;
        std::uint32_t fieldBefore;
        StreamPlaces places;
    };
    static constexpr std::uint32_t kPartsOfMark = 8;

    Entry before(std::size_t mark) const;
    bool readNext(Entry& entry) const;

    Bytes m_raw;
    std::uint32_t m_lastField = 0;
    std::int64_t m_firstTime = 0;
    std::int64_t m_lastTime = 0;
    std::uint32_t m_count = 0;
    std::vector<Mark> m_marks;
};

/// What a segment says of itself.
struct SegmentInfo
{
    SegmentHead head{};
    std::vector<TimeChunkRecord> chunks;
    std::vector<FieldRun> newRuns;
    std::vector<PageRecord> pages;

    std::uint32_t timesOf(std::uint32_t chunk) const
    {
        return std::min(head.times - chunk * kTimesOfChunk, kTimesOfChunk);
    }
    /// No time of the chunk lies behind it.
    std::int64_t lastTimeOf(std::uint32_t chunk) const
    {
        return chunk + 1 < chunks.size() ? chunks[chunk + 1].firstTime - 1 : head.lastTime;
    }
};

/// Times of a segment by their numbers, as far as a chunk of them goes.
class TimeChunk
{
public:
    long long at(std::uint32_t number) const
    {
        return static_cast<long long>(m_first +
                                      (m_offsets.empty() ? m_wide[number] : m_offsets[number]));
    }
    /// Where all steps are alike, the record tells all.
    static bool isEven(const TimeChunkRecord& chunk) { return chunk.width == 0; }
    static long long evenTime(const TimeChunkRecord& chunk, std::uint32_t number)
    {
        return static_cast<long long>(static_cast<std::uint64_t>(chunk.firstTime) +
                                      chunk.step * number);
    }
    std::size_t bytes() const
    {
        return sizeof *this + m_offsets.size() * sizeof m_offsets[0] +
               m_wide.size() * sizeof m_wide[0];
    }

private:
    friend bool readTimes(const Bytes& stored, const SegmentInfo& segment, std::uint32_t number,
                          TimeChunk& out);

    std::uint64_t m_first = 0;
    // From the first one, in one of these.
    std::vector<std::uint32_t> m_offsets;
    std::vector<std::uint64_t> m_wide;
};

/// The streams of a page. Those that were not packed are used where they lie.
struct PageData
{
    struct Stream
    {
        const unsigned char* begin = nullptr;
        std::uint32_t size = 0;
    };

    PageData() = default;
    PageData(const PageData&) = delete;
    PageData& operator=(const PageData&) = delete;

    std::array<Stream, kStreams> streams;
    Bytes stored;
    Bytes unpacked;
};

/// The changes of a part.
struct PartData
{
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint64_t> values;
};

// All of these give false for bytes that make no sense; what they filled in by then is worthless.
// Whoever calls has seen to the checksums.

bool readSegmentInfo(const Bytes& bytes, std::uint64_t segmentSize, SegmentInfo& out);
bool readPageIndex(const Bytes& stored, const PageRecord& page, const SegmentHead& segment,
                   PageIndex& out);
/// Of what `out` has stored.
bool readPageData(const SegmentHead& segment, PageData& out);
bool readPart(const PageIndex& index, const PageData& data, const PageIndex::Entry& part,
              const SegmentHead& segment, PartData& out);
/// Of a chunk that is not even.
bool readTimes(const Bytes& stored, const SegmentInfo& segment, std::uint32_t number,
               TimeChunk& out);
bool readFields(const Bytes& bytes, FieldRuns& out);
bool isRun(const FieldRun& run);

} // namespace Tracewell
