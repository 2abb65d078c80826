// SPDX-License-Identifier: BSD-3-Clause

#include "PageReader.h"

#include "Packing.h"
#include "ValueForms.h"

#include <algorithm>
#include <limits>

namespace Tracewell {

namespace {

template <class Record>
bool readRecords(ByteWalk& walk, std::uint32_t count, std::vector<Record>& out)
{
    out.resize(count);
    for (Record& record : out) {
        walk.read(record);
    }
    return walk.isGood();
}

Codec codecOf(std::uint8_t number)
{
    return static_cast<Codec>(number);
}

} // namespace

bool isRun(const FieldRun& run)
{
    const auto end = static_cast<std::uint64_t>(kAddressEnd);
    if (run.count == 0 || run.count > kMostFields || run.size == 0 || run.size > kFieldBytes ||
        run.address >= end || run.end() > end) {
        return false;
    }
    // Where the first ones lie within their groups of 8 bytes, so do the others.
    for (std::uint32_t i = 0; i < std::min(run.count, kFieldBytes); ++i) {
        if ((run.address + std::uint64_t{i} * run.size) % kFieldBytes + run.size > kFieldBytes) {
            return false;
        }
    }
    return true;
}

bool readSegmentInfo(const Bytes& bytes, std::uint64_t segmentSize, SegmentInfo& out)
{
    ByteWalk walk(bytes.data(), bytes.size());
    walk.read(out.head);
    const SegmentHead& head = out.head;
    const std::uint64_t size =
        sizeof head + std::uint64_t{head.timeChunks} * sizeof(TimeChunkRecord) +
        std::uint64_t{head.newRuns} * sizeof(FieldRun) +
        std::uint64_t{head.pages} * sizeof(PageRecord) + sizeof(std::uint64_t);
    if (!walk.isGood() || head.magic != kSegmentMagic || size != head.headSize ||
        size != bytes.size() || head.changes == 0 || head.changes > kMostChanges ||
        head.times == 0 || head.times > head.changes ||
        head.timeChunks != (head.times + kTimesOfChunk - 1) / kTimesOfChunk ||
        head.lastTime < head.firstTime) {
        return false;
    }
    if (!readRecords(walk, head.timeChunks, out.chunks) ||
        !readRecords(walk, head.newRuns, out.newRuns) ||
        !readRecords(walk, head.pages, out.pages)) {
        return false;
    }
    // All of it together has no more bytes than are there, so that none count twice.
    std::uint64_t left = segmentSize < head.headSize ? 0 : segmentSize - head.headSize;
    const auto fits = [&](std::uint32_t offset, std::uint32_t stored) {
        if (offset < head.headSize || offset > segmentSize || stored > segmentSize - offset ||
            stored > left) {
            return false;
        }
        left -= stored;
        return true;
    };
    for (std::uint32_t i = 0; i < head.timeChunks; ++i) {
        const TimeChunkRecord& chunk = out.chunks[i];
        if (!fits(chunk.offset, chunk.stored) || chunk.width > 8 ||
            chunk.firstTime < head.firstTime || chunk.firstTime > head.lastTime ||
            (i > 0 && chunk.firstTime <= out.chunks[i - 1].firstTime)) {
            return false;
        }
    }
    for (std::uint32_t i = 0; i < head.timeChunks; ++i) {
        const TimeChunkRecord& chunk = out.chunks[i];
        const std::uint32_t steps = out.timesOf(i) - 1;
        const std::uint64_t room = static_cast<std::uint64_t>(out.lastTimeOf(i)) -
                                   static_cast<std::uint64_t>(chunk.firstTime);
        if (chunk.width == 0 && steps > 0 && (chunk.step == 0 || chunk.step > room / steps)) {
            return false;
        }
    }
    std::uint32_t field = 0;
    for (const PageRecord& page : out.pages) {
        if (!fits(page.indexOffset, page.indexStored) || !fits(page.dataOffset, page.dataStored) ||
            page.firstField < field || page.lastField < page.firstField) {
            return false;
        }
        field = page.lastField;
    }
    std::uint64_t newFields = 0;
    for (const FieldRun& run : out.newRuns) {
        newFields += run.count;
        if (!isRun(run)) {
            return false;
        }
    }
    return newFields == head.newFields &&
           std::uint64_t{head.firstNewField} + newFields <= kMostFields;
}

/// To the part behind; false where what comes makes no sense.
bool PageIndex::readNext(Entry& entry) const
{
    ByteWalk walk(m_raw.data() + entry.end, m_raw.size() - entry.end);
    entry.places = entry.endPlaces;
    StreamPlaces& places = entry.endPlaces;
    PartInfo& out = entry.info;
    const std::uint64_t fieldStep = walk.number();
    const std::uint64_t count = walk.number();
    std::uint8_t forms = 0;
    walk.read(forms);
    out.stepForm = static_cast<StepForm>(forms & 15);
    out.valueForm = static_cast<ValueForm>(forms >> 4);
    if (!walk.isGood() || fieldStep > m_lastField - out.field || count == 0 ||
        count > kMostInPart || out.stepForm > StepForm::Same ||
        out.valueForm > ValueForm::Difference) {
        return false;
    }
    out.field += static_cast<std::uint32_t>(fieldStep);
    out.count = static_cast<std::uint32_t>(count);
    const std::uint32_t rest = out.count - 1;
    const std::uint64_t first = walk.number();
    const std::uint64_t step = out.stepForm == StepForm::Even ? walk.number() : 0;
    if (first >= kMostTimes || step >= kMostTimes) {
        return false;
    }
    out.distance = out.firstNumber = static_cast<std::uint32_t>(first);
    out.step = static_cast<std::uint32_t>(step);
    for (unsigned int i = 0;
         out.stepForm < StepForm::Even && i <= static_cast<unsigned int>(out.stepForm); ++i) {
        places[kSteps0 + i] += rest;
    }
    out.firstValue = walk.number();
    out.mask = 0;
    switch (out.valueForm) {
    case ValueForm::Alternating:
        out.secondValue = walk.number();
        break;
    case ValueForm::Small:
        places[kSmall] += rest;
        break;
    default:
        walk.read(out.mask);
        for (unsigned int i = 0, mask = out.mask; mask != 0; ++i, mask >>= 1) {
            places[kPlanes + i] += (mask & 1) * rest;
        }
        break;
    }
    if (out.hasSummary()) {
        const std::uint64_t before = walk.number();
        const std::uint64_t length = walk.number();
        out.widestGap = walk.number();
        out.lastValue = walk.number();
        const std::uint64_t span =
            static_cast<std::uint64_t>(m_lastTime) - static_cast<std::uint64_t>(m_firstTime);
        if (before > span || length > span - before || out.widestGap > length) {
            return false;
        }
        const std::uint64_t begin = static_cast<std::uint64_t>(m_firstTime) + before;
        out.firstTime = static_cast<std::int64_t>(begin);
        out.lastTime = static_cast<std::int64_t>(begin + length);
    }
    ++entry.number;
    entry.end = static_cast<std::uint32_t>(m_raw.size() - walk.left());
    return walk.isGood();
}

/// As if the part in front of the mark had been read; next comes the mark's own.
PageIndex::Entry PageIndex::before(std::size_t mark) const
{
    Entry entry;
    entry.number = static_cast<std::uint32_t>(mark) * kPartsOfMark - 1;
    entry.info.field = m_marks[mark].fieldBefore;
    entry.end = m_marks[mark].offset;
    entry.endPlaces = m_marks[mark].places;
    return entry;
}

PageIndex::Entry PageIndex::at(std::uint32_t number) const
{
    Entry entry = before(number / kPartsOfMark);
    do {
        readNext(entry);
    } while (entry.number != number);
    return entry;
}

bool PageIndex::next(Entry& entry) const
{
    return entry.number + 1 < m_count && readNext(entry);
}

bool PageIndex::find(std::uint32_t field, Entry& out) const
{
    // The last mark in front of which no part of the field lies.
    const auto behind = std::partition_point(m_marks.begin(), m_marks.end(), [&](const Mark& mark) {
        return &mark == m_marks.data() || mark.fieldBefore < field;
    });
    out = before(static_cast<std::size_t>(behind - m_marks.begin()) - 1);
    for (std::uint32_t number = out.number + 1; number < m_count; ++number) {
        readNext(out);
        if (out.info.field >= field) {
            return out.info.field == field;
        }
    }
    return false;
}

bool readPageIndex(const Bytes& stored, const PageRecord& page, const SegmentHead& segment,
                   PageIndex& out)
{
    if (page.indexRaw > kMostIndexBytes) {
        return false;
    }
    out.m_raw.resize(page.indexRaw);
    if (!unpack(codecOf(page.indexCodec), stored.data(), stored.size(), out.m_raw.data(),
                out.m_raw.size())) {
        return false;
    }
    out.m_lastField = page.lastField;
    out.m_firstTime = segment.firstTime;
    out.m_lastTime = segment.lastTime;
    PageIndex::Entry entry;
    entry.number = ~0u;
    entry.info.field = page.firstField;
    std::uint64_t changes = 0;
    for (; entry.end < out.m_raw.size(); ++out.m_count) {
        if (out.m_count % PageIndex::kPartsOfMark == 0) {
            out.m_marks.push_back({entry.end, entry.info.field, entry.endPlaces});
        }
        if (!out.readNext(entry) ||
            (entry.info.stepForm == StepForm::Same &&
             (entry.info.distance == 0 || entry.info.distance > out.m_count)) ||
            (out.m_count == 0 && entry.info.field != page.firstField)) {
            return false;
        }
        changes += entry.info.count;
        if (changes > segment.changes) {
            return false;
        }
    }
    return out.m_count > 0 && entry.info.field == page.lastField;
}

bool readPageData(const SegmentHead& segment, PageData& out)
{
    std::array<StreamRecord, kStreams> records{};
    if (out.stored.size() < sizeof records) {
        return false;
    }
    std::memcpy(records.data(), out.stored.data(), sizeof records);
    std::size_t unpacked = 0;
    for (const StreamRecord& record : records) {
        // A change has one byte of a stream at most.
        if (record.raw > segment.changes) {
            return false;
        }
        unpacked += codecOf(record.codec) == Codec::Plain ? 0 : record.raw;
    }
    out.unpacked.resize(unpacked);
    std::size_t at = sizeof records;
    unsigned char* room = out.unpacked.data();
    for (unsigned int i = 0; i < kStreams; ++i) {
        const StreamRecord& record = records[i];
        const unsigned char* const stored = out.stored.data() + at;
        if (record.stored > out.stored.size() - at) {
            return false;
        }
        at += record.stored;
        if (codecOf(record.codec) == Codec::Plain) {
            if (record.stored != record.raw) {
                return false;
            }
            out.streams[i] = {stored, record.raw};
            continue;
        }
        if (!unpack(codecOf(record.codec), stored, record.stored, room, record.raw)) {
            return false;
        }
        out.streams[i] = {room, record.raw};
        room += record.raw;
    }
    return true;
}

namespace {

/// Null where the stream does not have so many bytes there.
const unsigned char* streamAt(const PageData& data, const StreamPlaces& places, unsigned int stream,
                              std::uint32_t count)
{
    const PageData::Stream& found = data.streams[stream];
    const std::uint32_t begin = places[stream];
    return begin <= found.size && count <= found.size - begin && found.begin ? found.begin + begin
                                                                             : nullptr;
}

bool readNumbers(const PageData& data, const PartInfo& part, const StreamPlaces& places,
                 std::uint32_t times, std::uint32_t* numbers)
{
    std::array<const unsigned char*, 3> planes{};
    const unsigned int bytes =
        part.stepForm == StepForm::Even ? 0 : static_cast<unsigned int>(part.stepForm) + 1;
    for (unsigned int i = 0; i < bytes; ++i) {
        planes[i] = streamAt(data, places, kSteps0 + i, part.count - 1);
        if (!planes[i]) {
            return false;
        }
    }
    std::uint64_t number = part.firstNumber;
    numbers[0] = part.firstNumber;
    // A number that runs over stays there, and is refused in the end.
    const auto run = [&](const auto& stepOf) {
        for (std::uint32_t i = 1; i < part.count; ++i) {
            number += stepOf(i - 1);
            numbers[i] = static_cast<std::uint32_t>(number);
        }
    };
    switch (bytes) {
    case 0:
        run([&](std::uint32_t) { return part.step; });
        break;
    case 1:
        run([&](std::uint32_t i) { return std::uint32_t{planes[0][i]}; });
        break;
    case 2:
        run([&](std::uint32_t i) {
            return std::uint32_t{planes[0][i]} | std::uint32_t{planes[1][i]} << 8;
        });
        break;
    default:
        run([&](std::uint32_t i) {
            return std::uint32_t{planes[0][i]} | std::uint32_t{planes[1][i]} << 8 |
                   std::uint32_t{planes[2][i]} << 16;
        });
        break;
    }
    return number < times;
}

bool readValues(const PageData& data, const PartInfo& part, const StreamPlaces& places,
                std::uint64_t* values)
{
    const std::uint32_t count = part.count;
    values[0] = part.firstValue;
    switch (part.valueForm) {
    case ValueForm::Alternating:
        for (std::uint32_t i = 1; i < count; ++i) {
            values[i] = (i & 1) != 0 ? part.secondValue : part.firstValue;
        }
        return true;
    case ValueForm::Small: {
        const unsigned char* const small = streamAt(data, places, kSmall, count - 1);
        for (std::uint32_t i = 1; small && i < count; ++i) {
            values[i] = small[i - 1];
        }
        return small != nullptr;
    }
    default:
        break;
    }
    std::fill(values + 1, values + count, 0);
    for (unsigned int plane = 0; plane < kFieldBytes; ++plane) {
        if ((part.mask >> plane & 1) == 0) {
            continue;
        }
        const unsigned char* const bytes = streamAt(data, places, kPlanes + plane, count - 1);
        if (!bytes) {
            return false;
        }
        for (std::uint32_t i = 1; i < count; ++i) {
            values[i] |= std::uint64_t{bytes[i - 1]} << (8 * plane);
        }
    }
    addDifferences(part.valueForm, values, count);
    return true;
}

} // namespace

bool readPart(const PageIndex& index, const PageData& data, const PageIndex::Entry& part,
              const SegmentHead& segment, PartData& out)
{
    const std::uint32_t count = part.info.count;
    out.numbers.resize(count);
    out.values.resize(count);
    if (!readValues(data, part.info, part.places, out.values.data())) {
        return false;
    }
    if (part.info.stepForm != StepForm::Same) {
        return readNumbers(data, part.info, part.places, segment.times, out.numbers.data());
    }
    const PageIndex::Entry steps = index.at(part.number - part.info.distance);
    return steps.info.stepForm != StepForm::Same && steps.info.count == count &&
           readNumbers(data, steps.info, steps.places, segment.times, out.numbers.data());
}

bool readTimes(const Bytes& stored, const SegmentInfo& segment, std::uint32_t number,
               TimeChunk& out)
{
    const TimeChunkRecord& chunk = segment.chunks[number];
    const std::uint32_t count = segment.timesOf(number);
    out.m_first = static_cast<std::uint64_t>(chunk.firstTime);
    const std::uint64_t most = static_cast<std::uint64_t>(segment.lastTimeOf(number)) - out.m_first;
    Bytes raw(std::size_t{chunk.width} * (count - 1));
    if (!unpack(codecOf(chunk.codec), stored.data(), stored.size(), raw.data(), raw.size())) {
        return false;
    }
    out.m_wide.resize(count);
    std::uint64_t offset = 0;
    for (std::uint32_t i = 1; i < count; ++i) {
        std::uint64_t step = 0;
        for (unsigned int plane = 0; plane < chunk.width; ++plane) {
            step |= std::uint64_t{raw[std::size_t{plane} * (count - 1) + i - 1]} << (8 * plane);
        }
        if (step == 0 || step > most - offset) {
            return false;
        }
        offset += step;
        out.m_wide[i] = offset;
    }
    if (offset <= std::numeric_limits<std::uint32_t>::max()) {
        out.m_offsets.resize(count);
        std::transform(out.m_wide.begin(), out.m_wide.end(), out.m_offsets.begin(),
                       [](std::uint64_t wide) { return static_cast<std::uint32_t>(wide); });
        out.m_wide = {};
    }
    return true;
}

bool readFields(const Bytes& bytes, FieldRuns& out)
{
    std::uint64_t checksum = 0;
    ByteWalk walk(bytes.data(), bytes.size());
    walk.read(checksum);
    if (!walk.isGood() ||
        checksumOf(bytes.data() + sizeof checksum, bytes.size() - sizeof checksum) != checksum) {
        return false;
    }
    while (!walk.isAtEnd()) {
        FieldRun run{};
        walk.read(run);
        if (!walk.isGood() || !isRun(run) || std::uint64_t{out.count()} + run.count > kMostFields) {
            return false;
        }
        out.add(run);
    }
    return true;
}

} // namespace Tracewell
