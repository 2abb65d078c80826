// SPDX-License-Identifier: BSD-3-Clause

#include "survey/EventBlockSurvey.h"
#include "survey/EventIndexSurvey.h"
#include "survey/SurveyContext.h"
#include "text/Counted.h"

#include "QsimException.h"
#include "WdbAppendingBlockList.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbEventDatabaseHeader;
using EventNode = Tracewell::WdbBlockListNode<100>;

// A reader takes no other block sizes: a block is unpacked in memory, so the file must explain it.
constexpr unsigned int kSmallestBlock = 64;
constexpr unsigned int kLargestBlock = 256u << 20;
constexpr unsigned int kModestBlock = 64u << 10;
/// zlib packs no better than this.
constexpr unsigned int kBestRatio = 1032;

/// Walks the lists of all buckets.
class EventSurvey
{
public:
    EventSurvey(const SurveyContext& context, const WdbEventDatabaseHeader& header)
        : m_context(context), m_header(header), m_blocks(context, header)
    {}

    void walkBuckets();

private:
    using Bucket = EventBlockSurvey::Bucket;

    void walkList(Bucket& bucket, long long firstNode);
    bool readNode(Bucket& bucket, Place& place, EventNode& node);

    const SurveyContext& m_context;
    const WdbEventDatabaseHeader& m_header;
    EventBlockSurvey m_blocks;
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
    const int type = m_header.m_databaseTypeId;
    const bool isSingle = type == WdbEventBlockDatabaseFactory::kSingleBucket;
    const bool isIndexed = type == WdbEventBlockDatabaseFactory::kMultipleBucketBtree;
    const unsigned int buckets = isSingle ? 1 : m_header.m_numberOfBuckets;
    for (unsigned int i = 0; i < buckets; ++i) {
        long long first = 0;
        m_context.file.readRecord(m_header.m_bucketTableOffset + 8 * static_cast<long long>(i),
                                  first);
        if (first == 0) {
            continue;
        }
        Bucket bucket;
        bucket.number = i;
        bucket.isOpenEnded = isSingle || (!isIndexed && i + 1 == buckets);
        bucket.base = isSingle ? 0 : static_cast<long long>(i * m_header.m_bucketDivision);
        ++m_context.survey.bucketsInUse;
        if (isIndexed) {
            surveyEventIndex(m_context, m_header, m_blocks, bucket, first);
        } else {
            walkList(bucket, first);
        }
        m_blocks.finishBucket(bucket);
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
            m_blocks.readBlock(bucket, place, node.m_handles[i], node.m_sizes[i]);
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
            place, "the node has a successor and counts only " + counted(node.m_count, "block"),
            "perhaps blocks of the bucket");
    } else if (node.m_count < EventNode::kSlots && node.m_handles[node.m_count] != 0) {
        m_context.damage(place, "the node lists more blocks than it counts",
                         "the blocks beyond its count");
    }
    return true;
}

/// A text that says why the header cannot be worked with; empty when it can.
std::string headerProblem(const WdbEventDatabaseHeader& header, long long fileSize)
{
    const unsigned int size = header.m_maxEventBlockSize;
    if (size < kSmallestBlock || size > kLargestBlock ||
        (size > kModestBlock && size / kBestRatio > fileSize)) {
        return fmt::format("a block size of {} makes no sense", counted(size, "byte"));
    }
    if (header.m_databaseTypeId == WdbEventBlockDatabaseFactory::kSingleBucket) {
        return header.m_numberOfBuckets == 0 ? "the database has no bucket" : "";
    }
    constexpr unsigned long long kLargestDivision = std::numeric_limits<unsigned int>::max();
    if (header.m_databaseTypeId == WdbEventBlockDatabaseFactory::kMultipleBucketBtree &&
        header.m_bucketDivision != Tracewell::WdbEventBlock::kKeyAddresses) {
        return fmt::format("a bucket division of {} does not fit an index by time, which has {}",
                           header.m_bucketDivision, Tracewell::WdbEventBlock::kKeyAddresses);
    }
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

/// The answer of the reading commands, by the library's own way through the file.
Wholeness askWholeness(const std::string& path, const WdbEventDatabaseHeader& header)
{
    Tracewell::WdbFileManager file;
    try {
        file.open(path);
    } catch (const Qsim::OpenException&) {
        Wholeness unknown;
        unknown.isClosed = unknown.isKnown = header.m_latestTime != 0;
        return unknown;
    }
    return findWholeness(file, header);
}

void findEnding(Survey& survey)
{
    if (!survey.wholeness.isClosed) {
        survey.ending = Survey::Ending::NeverClosed;
    } else if (survey.eventHeader->m_latestTime != 0 || survey.wholeness.isKnown) {
        survey.ending = Survey::Ending::Closed;
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
        context.notice(place, fmt::format("the table of contents gives the header {} instead "
                                          "of {}",
                                          counted(section->size, "byte"), sizeof header));
    }
    if (header.m_databaseTypeId < WdbEventBlockDatabaseFactory::kSingleBucket ||
        header.m_databaseTypeId > WdbEventBlockDatabaseFactory::kMultipleBucketBtree) {
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
    survey.wholeness = askWholeness(context.file.path(), header);
    EventSurvey(context, *survey.eventHeader).walkBuckets();
    findEnding(survey);
    if (survey.ending == Survey::Ending::Closed && survey.latestEvent > header.m_latestTime) {
        context.notice(place, fmt::format("the stored latest time is {}, the latest event is at {}",
                                          context.timeText(header.m_latestTime),
                                          context.timeText(survey.latestEvent)));
    }
}

} // namespace tracewell
