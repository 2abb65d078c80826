// SPDX-License-Identifier: BSD-3-Clause

#include "survey/EventBlockSurvey.h"

#include "text/Counted.h"

#include "WdbEvent.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

using Tracewell::WdbEvent;
using Tracewell::WdbEventBlock;

template <class T> T load(const unsigned char* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

bool allZero(const unsigned char* bytes, std::size_t size)
{
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

} // namespace

bool EventBlockSurvey::readBlock(Bucket& bucket, Place place, long long handle, unsigned int size)
{
    place.block = handle;
    place.blockSize = size;
    if (size == 0 || size > m_header.m_maxEventBlockSize) {
        beginLoss(bucket, place,
                  fmt::format("a stored block of {} bytes is not between 1 and {}", size,
                              m_header.m_maxEventBlockSize),
                  "its events");
        return false;
    }
    if (!m_context.claim(place, "a block", handle, size, "its events")) {
        return false;
    }
    m_stored.resize(size);
    m_context.file.read(handle, m_stored.data(), size);
    ++m_survey.blocks;
    ++bucket.blocks;
    return unpack(bucket, place) && walkRecords(bucket, place);
}

const WdbEventBlock& EventBlockSurvey::block(const Bucket& bucket)
{
    m_block.clear();
    m_block.setBaseAddress(bucket.base);
    // The block copies what it is given.
    auto* const image = reinterpret_cast<char*>(const_cast<unsigned char*>(m_image.data()));
    for (std::size_t at = WdbEventBlock::kHeaderSize; at < m_recordsEnd;) {
        const unsigned int size =
            WdbEvent::kHeaderSize + load<unsigned int>(m_image.data() + at + 12);
        m_block.addEvent(image + at, size);
        at += size;
    }
    m_block.fillHeader();
    return m_block;
}

/// False when nothing came out that could be walked.
bool EventBlockSurvey::unpack(Bucket& bucket, const Place& place)
{
    switch (m_image.unpack(m_stored)) {
    case BlockImage::State::Whole:
        return true;
    case BlockImage::State::BytesBehind:
        m_context.damage(place, "bytes follow the end of the zlib stream", "nothing that is known");
        return true;
    case BlockImage::State::TooLong:
        m_context.damage(
            place, fmt::format("the block unpacks to more than {} bytes", m_image.blockSize()),
            "perhaps events at its end");
        return true;
    case BlockImage::State::TooShort:
        beginLoss(bucket, place,
                  fmt::format("the block unpacks to {} instead of {}",
                              counted(m_image.unpacked(), "byte"), m_image.blockSize()),
                  "events at its end");
        break;
    case BlockImage::State::Cut:
        beginLoss(bucket, place,
                  fmt::format("the zlib stream is cut off; {} of {} bytes came out",
                              m_image.unpacked(), m_image.blockSize()),
                  "events at its end");
        break;
    case BlockImage::State::Corrupt:
        beginLoss(bucket, place,
                  fmt::format("the zlib stream is damaged; {} of {} bytes came out",
                              m_image.unpacked(), m_image.blockSize()),
                  "its events, or those at its end");
        break;
    }
    return m_image.unpacked() > WdbEventBlock::kHeaderSize;
}

/// False when not all that the block should hold is there.
bool EventBlockSurvey::walkRecords(Bucket& bucket, Place place)
{
    const unsigned char* image = m_image.data();
    const std::size_t end = m_image.unpacked();
    const auto count = load<unsigned int>(image + 16);
    std::size_t offset = WdbEventBlock::kHeaderSize;
    long long firstTime = 0;
    long long lastTime = bucket.end;
    unsigned int record = 0;
    m_isInside = true;
    for (; record < count; ++record) {
        place.record = record;
        place.byte = static_cast<long long>(offset);
        if (!checkRecord(bucket, place, image + offset, end - offset)) {
            break;
        }
        const auto time = load<long long>(image + offset);
        if (record == 0) {
            firstTime = time;
            endLoss(bucket, time);
        }
        if (bucket.hasEnd && time < lastTime && bucket.stepsBack++ == 0) {
            bucket.firstStepBack = place;
        }
        bucket.end = bucket.hasEnd ? std::max(bucket.end, time) : time;
        bucket.hasEnd = true;
        lastTime = time;
        m_survey.latestEvent = m_anyBlock ? std::max(m_survey.latestEvent, time) : time;
        m_anyBlock = true;
        m_survey.eventsBehind += time > m_survey.wholeness.upTo ? 1u : 0u;
        offset += WdbEvent::kHeaderSize + load<unsigned int>(image + offset + 12);
    }
    m_survey.events += record;
    m_recordsEnd = offset;
    place.record = place.byte = -1;
    if (count == 0) {
        beginLoss(bucket, place, "the block counts no events", "its events");
    } else if (record == count && end == m_image.blockSize()) {
        checkTail(bucket, place, offset);
        checkBlockHeader(place, firstTime, lastTime);
        return m_isInside;
    }
    return false;
}

bool EventBlockSurvey::checkRecord(Bucket& bucket, const Place& place, const unsigned char* record,
                                   std::size_t room)
{
    const bool whole = room >= WdbEvent::kHeaderSize &&
                       load<unsigned int>(record + 12) <= room - WdbEvent::kHeaderSize;
    if (!whole) {
        // What an incomplete block lacks was told when it was unpacked.
        if (m_image.unpacked() == m_image.blockSize()) {
            beginLoss(bucket, place, "the record runs past the end of the block",
                      "this event and those behind it in the block");
        }
        return false;
    }
    const auto delta = static_cast<long long>(load<unsigned int>(record + 8));
    const auto length = static_cast<long long>(load<unsigned int>(record + 12));
    if (length == 0) {
        beginLoss(bucket, place, "the record has no value",
                  "this event and those behind it in the block");
        return false;
    }
    if (!bucket.isOpenEnded && delta + length > static_cast<long long>(m_header.m_bucketDivision)) {
        m_isInside = false;
        m_context.damage(
            place,
            fmt::format("the event covers the addresses {} to {}, its bucket ends "
                        "before {}",
                        bucket.base + delta, bucket.base + delta + length - 1,
                        bucket.base + static_cast<long long>(m_header.m_bucketDivision)),
            "a change at these addresses is not found there");
    }
    return true;
}

void EventBlockSurvey::checkTail(Bucket& bucket, const Place& place, std::size_t offset)
{
    if (!allZero(m_image.data() + offset, m_image.blockSize() - offset)) {
        beginLoss(
            bucket, place,
            fmt::format("bytes that are no zeros follow the last record, from byte {} on", offset),
            "perhaps events at the end of the block");
    }
}

void EventBlockSurvey::checkBlockHeader(const Place& place, long long first, long long last)
{
    const auto start = load<long long>(m_image.data());
    const auto length = load<long long>(m_image.data() + 8);
    const auto expected = static_cast<long long>(static_cast<unsigned long long>(last) -
                                                 static_cast<unsigned long long>(first));
    if (start != first || length != expected) {
        m_context.damage(place,
                         fmt::format("the block says that it starts at {} and lasts {}, its "
                                     "records say {} and {}",
                                     start, length, first, expected),
                         "nothing; the latest time of a file that was not closed may be wrong");
    }
}

void EventBlockSurvey::beginLoss(Bucket& bucket, const Place& place, std::string what,
                                 const std::string& lost)
{
    const std::string since = bucket.hasEnd
                                  ? fmt::format(" from time {} on", m_context.timeText(bucket.end))
                                  : std::string();
    bucket.openLoss = m_survey.findings.addDamage(place, std::move(what), lost + since);
}

void EventBlockSurvey::endLoss(Bucket& bucket, long long until)
{
    if (bucket.openLoss != nullptr) {
        bucket.openLoss->lost += fmt::format(", up to time {}", m_context.timeText(until));
        bucket.openLoss = nullptr;
    }
}

void EventBlockSurvey::finishBucket(Bucket& bucket)
{
    if (bucket.stepsBack > 0) {
        m_context.notice(
            bucket.firstStepBack,
            fmt::format("time goes back here ({} times in the bucket)", bucket.stepsBack));
    }
}

} // namespace tracewell
