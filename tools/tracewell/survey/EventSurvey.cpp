#include "survey/BlockImage.h"
#include "survey/SurveyContext.h"

#include "WdbAppendingBlockList.h"
#include "WdbEvent.h"
#include "WdbEventBlock.h"
#include "WdbEventBlockDatabaseFactory.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace tracewell {

namespace {

using Tracewell::WdbEvent;
using Tracewell::WdbEventBlock;
using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbEventDatabaseHeader;
using EventNode = Tracewell::WdbBlockListNode<100>;

constexpr const char* kEventSection = "WDB.Event";
// A reader takes no other block sizes: a block is unpacked in memory, so the file must explain it.
constexpr unsigned int kSmallestBlock = 64;
constexpr unsigned int kLargestBlock = 256u << 20;
constexpr unsigned int kModestBlock = 64u << 10;
/// zlib packs no better than this.
constexpr unsigned int kBestRatio = 1032;

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

/// Walks the lists of all buckets.
class EventSurvey
{
public:
    EventSurvey(const SurveyContext& context, const WdbEventDatabaseHeader& header)
        : m_context(context), m_survey(context.survey), m_header(header),
          m_multiple(header.m_databaseTypeId == WdbEventBlockDatabaseFactory::kMultipleBucket),
          m_image(header.m_maxEventBlockSize)
    {}

    void walkBuckets();

private:
    /// What is known of the bucket being walked.
    struct Bucket
    {
        long long number = 0;
        long long base = 0;
        bool last = false;
        unsigned long long blocks = 0;
        /// Whether any event was read, and the latest time of those that were.
        bool hasEnd = false;
        long long end = 0;
        unsigned long long stepsBack = 0;
        Place firstStepBack;
        /// A damage whose loss ends where the next sound block begins.
        Finding* openLoss = nullptr;
    };

    void walkList(Bucket& bucket, long long firstNode);
    bool readNode(Bucket& bucket, Place& place, EventNode& node);
    void readBlock(Bucket& bucket, Place place, long long handle, unsigned int size);
    bool unpack(Bucket& bucket, const Place& place);
    void walkRecords(Bucket& bucket, Place place);
    bool checkRecord(Bucket& bucket, const Place& place, const unsigned char* record,
                     std::size_t room);
    void checkTail(Bucket& bucket, const Place& place, std::size_t offset);
    void checkBlockHeader(const Place& place, long long first, long long last);
    void beginLoss(Bucket& bucket, const Place& place, std::string what, const std::string& lost);
    void endLoss(Bucket& bucket, long long until);
    void finishBucket(Bucket& bucket);

    const SurveyContext& m_context;
    Survey& m_survey;
    const WdbEventDatabaseHeader& m_header;
    bool m_multiple;
    BlockImage m_image;
    std::vector<unsigned char> m_stored;
    bool m_anyBlock = false;
};

void EventSurvey::walkBuckets()
{
    Place place;
    place.section = kEventSection;
    const long long tableSize = 8 * static_cast<long long>(m_header.m_numberOfBuckets);
    if (!m_context.claim(place, "the bucket table", m_header.m_bucketTableOffset, tableSize,
                         "all events")) {
        return;
    }
    const unsigned int buckets = m_multiple ? m_header.m_numberOfBuckets : 1;
    for (unsigned int i = 0; i < buckets; ++i) {
        long long firstNode = 0;
        m_context.file.readRecord(m_header.m_bucketTableOffset + 8 * static_cast<long long>(i),
                                  firstNode);
        if (firstNode == 0) {
            continue;
        }
        Bucket bucket;
        bucket.number = i;
        bucket.last = i + 1 == buckets;
        bucket.base = m_multiple ? static_cast<long long>(i * m_header.m_bucketDivision) : 0;
        ++m_survey.bucketsInUse;
        walkList(bucket, firstNode);
        finishBucket(bucket);
    }
}

void EventSurvey::walkList(Bucket& bucket, long long firstNode)
{
    Place place;
    place.section = kEventSection;
    place.bucket = bucket.number;
    for (long long offset = firstNode; offset != 0;) {
        place.node = offset;
        EventNode node;
        if (!readNode(bucket, place, node)) {
            return;
        }
        for (unsigned int i = 0; i < std::min(node.m_count, EventNode::kSlots); ++i) {
            readBlock(bucket, place, node.m_handles[i], node.m_sizes[i]);
        }
        m_context.showProgress();
        offset = node.m_next;
    }
}

bool EventSurvey::readNode(Bucket& bucket, Place& place, EventNode& node)
{
    const std::string behind = bucket.blocks == 0
                                   ? std::string("all events of the bucket")
                                   : fmt::format("the events of the bucket behind time {}",
                                                 m_context.timeText(bucket.end));
    if (!m_context.claim(place, "a list node", place.node, sizeof node, behind)) {
        return false;
    }
    m_context.file.readRecord(place.node, node);
    if (node.m_count > EventNode::kSlots) {
        m_context.damage(place,
                         fmt::format("the node counts {} blocks and has room for {}", node.m_count,
                                     EventNode::kSlots),
                         "perhaps blocks of the bucket");
        return true;
    }
    if (node.m_count < EventNode::kSlots && node.m_next != 0) {
        m_context.damage(
            place, fmt::format("the node has a successor and counts only {} blocks", node.m_count),
            "perhaps blocks of the bucket");
    } else if (node.m_count < EventNode::kSlots && node.m_handles[node.m_count] != 0) {
        m_context.damage(place, "the node lists more blocks than it counts",
                         "the blocks beyond its count");
    }
    return true;
}

void EventSurvey::readBlock(Bucket& bucket, Place place, long long handle, unsigned int size)
{
    place.block = handle;
    place.blockSize = size;
    if (size == 0 || size > m_header.m_maxEventBlockSize) {
        beginLoss(bucket, place,
                  fmt::format("a stored block of {} bytes is not between 1 and {}", size,
                              m_header.m_maxEventBlockSize),
                  "its events");
        return;
    }
    if (!m_context.claim(place, "a block", handle, size, "its events")) {
        return;
    }
    m_stored.resize(size);
    m_context.file.read(handle, m_stored.data(), size);
    ++m_survey.blocks;
    ++bucket.blocks;
    if (unpack(bucket, place)) {
        walkRecords(bucket, place);
    }
}

/// False when nothing came out that could be walked.
bool EventSurvey::unpack(Bucket& bucket, const Place& place)
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
                  fmt::format("the block unpacks to {} bytes instead of {}", m_image.unpacked(),
                              m_image.blockSize()),
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

void EventSurvey::walkRecords(Bucket& bucket, Place place)
{
    const unsigned char* image = m_image.data();
    const std::size_t end = m_image.unpacked();
    const auto count = load<unsigned int>(image + 16);
    std::size_t offset = WdbEventBlock::kHeaderSize;
    long long firstTime = 0;
    long long lastTime = bucket.end;
    unsigned int record = 0;
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
        offset += WdbEvent::kHeaderSize + load<unsigned int>(image + offset + 12);
    }
    m_survey.events += record;
    place.record = place.byte = -1;
    if (count == 0) {
        beginLoss(bucket, place, "the block counts no events", "its events");
    } else if (record == count && end == m_image.blockSize()) {
        checkTail(bucket, place, offset);
        checkBlockHeader(place, firstTime, lastTime);
    }
}

bool EventSurvey::checkRecord(Bucket& bucket, const Place& place, const unsigned char* record,
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
    const bool inside = !m_multiple || bucket.last ||
                        delta + length <= static_cast<long long>(m_header.m_bucketDivision);
    if (!inside) {
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

void EventSurvey::checkTail(Bucket& bucket, const Place& place, std::size_t offset)
{
    if (!allZero(m_image.data() + offset, m_image.blockSize() - offset)) {
        beginLoss(
            bucket, place,
            fmt::format("bytes that are no zeros follow the last record, from byte {} on", offset),
            "perhaps events at the end of the block");
    }
}

void EventSurvey::checkBlockHeader(const Place& place, long long first, long long last)
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

void EventSurvey::beginLoss(Bucket& bucket, const Place& place, std::string what,
                            const std::string& lost)
{
    const std::string since = bucket.hasEnd
                                  ? fmt::format(" from time {} on", m_context.timeText(bucket.end))
                                  : std::string();
    bucket.openLoss = m_survey.findings.addDamage(place, std::move(what), lost + since);
}

void EventSurvey::endLoss(Bucket& bucket, long long until)
{
    if (bucket.openLoss != nullptr) {
        bucket.openLoss->lost += fmt::format(", up to time {}", m_context.timeText(until));
        bucket.openLoss = nullptr;
    }
}

void EventSurvey::finishBucket(Bucket& bucket)
{
    if (bucket.stepsBack > 0) {
        m_context.notice(
            bucket.firstStepBack,
            fmt::format("time goes back here ({} times in the bucket)", bucket.stepsBack));
    }
    if (!bucket.hasEnd) {
        ++m_survey.emptyLists;
    } else if (!m_survey.wholeUpTo || bucket.end < *m_survey.wholeUpTo) {
        m_survey.wholeUpTo = bucket.end;
        m_survey.earliestEnd = bucket.number;
    }
}

/// A text that says why the header cannot be worked with; empty when it can.
std::string headerProblem(const WdbEventDatabaseHeader& header, long long fileSize)
{
    const unsigned int size = header.m_maxEventBlockSize;
    if (size < kSmallestBlock || size > kLargestBlock ||
        (size > kModestBlock && size / kBestRatio > fileSize)) {
        return fmt::format("a block size of {} bytes makes no sense", size);
    }
    if (header.m_databaseTypeId == WdbEventBlockDatabaseFactory::kSingleBucket) {
        return header.m_numberOfBuckets == 0 ? "the database has no bucket" : "";
    }
    constexpr unsigned long long kLargestDivision = std::numeric_limits<unsigned int>::max();
    if (header.m_bucketDivision == 0 || header.m_bucketDivision > kLargestDivision) {
        return fmt::format("a bucket division of {} makes no sense", header.m_bucketDivision);
    }
    return {};
}

void checkAddressMap(const SurveyContext& context, const WdbEventDatabaseHeader& header)
{
    constexpr long long kRangeSize = 16;
    if (header.m_addressMapSize <= 0 || header.m_addressMapFileOffset == 0) {
        return;
    }
    Place place;
    place.section = kEventSection;
    const long long ranges =
        std::min(header.m_addressMapSize, std::numeric_limits<long long>::max() / kRangeSize);
    context.claim(place, "the map of traced objects", header.m_addressMapFileOffset,
                  ranges * kRangeSize, "which objects were traced");
}

void findEnding(Survey& survey)
{
    if (survey.eventHeader->m_latestTime != 0) {
        survey.ending = Survey::Ending::Closed;
    } else if (survey.latestEvent != 0) {
        survey.ending = Survey::Ending::NeverClosed;
    }
}

} // namespace

void surveyEvents(const SurveyContext& context)
{
    Survey& survey = context.survey;
    Place place;
    place.section = kEventSection;
    const auto section =
        std::find_if(survey.sections.begin(), survey.sections.end(), [](const auto& candidate) {
            return candidate.id == kEventSection && candidate.version == 1;
        });
    if (section == survey.sections.end()) {
        context.damage(place, "there is no such section", "all events");
        return;
    }
    WdbEventDatabaseHeader header;
    if (!context.claim(place, "the header", section->offset, sizeof header, "all events")) {
        return;
    }
    context.file.readRecord(section->offset, header);
    survey.eventHeader = header;
    if (section->size != sizeof header) {
        context.notice(place, fmt::format("the table of contents gives the header {} bytes instead "
                                          "of {}",
                                          section->size, sizeof header));
    }
    if (header.m_databaseTypeId != WdbEventBlockDatabaseFactory::kSingleBucket &&
        header.m_databaseTypeId != WdbEventBlockDatabaseFactory::kMultipleBucket) {
        context.damage(place, fmt::format("database type {} is not known", header.m_databaseTypeId),
                       "all events; a later version may read them");
        return;
    }
    const std::string problem = headerProblem(header, context.file.size());
    if (!problem.empty()) {
        context.damage(place, problem, "all events");
        return;
    }
    checkAddressMap(context, header);
    EventSurvey(context, *survey.eventHeader).walkBuckets();
    findEnding(survey);
    if (survey.ending == Survey::Ending::Closed && survey.latestEvent > header.m_latestTime) {
        context.notice(place, fmt::format("the stored latest time is {}, the latest event is at {}",
                                          context.timeText(header.m_latestTime),
                                          context.timeText(survey.latestEvent)));
    }
}

} // namespace tracewell
