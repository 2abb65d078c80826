// SPDX-License-Identifier: BSD-3-Clause

#include "survey/EventIndexSurvey.h"

#include "formats/wdb/IndexNode.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

namespace tracewell {

namespace {

using Tracewell::WdbEventBlock;

/// Times of a damaged file may be anything.
long long addTimes(long long a, long long b)
{
    return static_cast<long long>(static_cast<unsigned long long>(a) +
                                  static_cast<unsigned long long>(b));
}

long long subtractTimes(long long later, long long earlier)
{
    return static_cast<long long>(static_cast<unsigned long long>(later) -
                                  static_cast<unsigned long long>(earlier));
}

class EventIndexSurvey
{
public:
    EventIndexSurvey(const SurveyContext& context, EventBlockSurvey& blocks,
                     EventBlockSurvey::Bucket& bucket, bool isClosed)
        : m_context(context), m_blocks(blocks), m_bucket(bucket), m_isClosed(isClosed)
    {}

    void walk(Place place, long long treeHeader);

private:
    /// What a node says of all below it.
    struct Subtree
    {
        long long length = 0;
        long long largestDiff = 0;
        IndexKey keys{};
    };

    bool walkNode(const Place& place, long long start, unsigned int level, Subtree& subtree);
    bool readNode(const Place& place, IndexNode& node);
    bool walkRecord(Place place, const IndexNode& node, unsigned int entry, long long start,
                    Subtree& subtree);
    bool walkChild(const Place& place, const IndexNode& node, unsigned int entry, long long start,
                   unsigned int level, Subtree& subtree);
    void tellDisagreement(const Place& place, const std::string& what);
    std::string lost() const;

    const SurveyContext& m_context;
    EventBlockSurvey& m_blocks;
    EventBlockSurvey::Bucket& m_bucket;
    bool m_isClosed;
    /// Places where two nodes do not agree, as when one of them did not reach the file.
    unsigned long long m_disagreements = 0;
    Place m_firstDisagreement;
};

std::string EventIndexSurvey::lost() const
{
    return m_bucket.hasEnd ? fmt::format("events of the bucket behind time {}",
                                         m_context.timeText(m_bucket.end))
                           : std::string("events of the bucket");
}

void EventIndexSurvey::walk(Place place, long long treeHeader)
{
    place.node = treeHeader;
    IndexTreeHeader header{};
    if (!m_context.claim(place, "a tree header", treeHeader, sizeof header, "the bucket")) {
        return;
    }
    m_context.file.readRecord(treeHeader, header);
    if (header.root == 0) {
        tellDisagreement(place, "the tree has no root");
    } else {
        place.node = header.root;
        Subtree tree;
        walkNode(place, header.startTime, 1, tree);
    }
    if (m_disagreements > 0) {
        m_context.notice(m_firstDisagreement,
                         fmt::format("the index lags behind in {} places of the bucket, since the "
                                     "writer never closed this file",
                                     m_disagreements));
    }
}

bool EventIndexSurvey::walkNode(const Place& place, long long start, unsigned int level,
                                Subtree& subtree)
{
    const auto node = std::make_unique<IndexNode>();
    if (level > kMostIndexLevels) {
        m_context.damage(place, fmt::format("the tree is deeper than {} nodes", kMostIndexLevels),
                         lost());
        return false;
    }
    if (!m_context.claim(place, "an index node", place.node, sizeof *node, lost())) {
        return false;
    }
    m_context.file.readRecord(place.node, *node);
    if (!readNode(place, *node)) {
        return false;
    }
    bool isWhole = true;
    long long largestDiff = 0;
    for (unsigned int i = 0; i < node->tail.count; ++i) {
        const long long entryStart = addTimes(start, node->precedingLength(i));
        Subtree entry;
        const bool isEntryWhole = node->tail.isLeaf != 0
                                      ? walkRecord(place, *node, i, entryStart, entry)
                                      : walkChild(place, *node, i, entryStart, level, entry);
        isWhole = isWhole && isEntryWhole;
        largestDiff = std::max(largestDiff, entry.largestDiff);
        for (std::size_t byte = 0; byte < entry.keys.size(); ++byte) {
            subtree.keys[byte] =
                static_cast<unsigned char>(subtree.keys[byte] | node->keys[i][byte]);
        }
    }
    if (isWhole && largestDiff != node->largestDiff) {
        tellDisagreement(place, fmt::format("the node gives {} as its largest diff, its entries {}",
                                            node->largestDiff, largestDiff));
    }
    subtree.length = node->precedingLength(node->tail.count);
    subtree.largestDiff = node->largestDiff;
    m_context.showProgress();
    return isWhole;
}

/// False when nothing below the node can be trusted.
bool EventIndexSurvey::readNode(const Place& place, IndexNode& node)
{
    if (node.tail.count > IndexNode::kSlots) {
        m_context.damage(place,
                         fmt::format("the node counts {} entries and has room for {}",
                                     node.tail.count, IndexNode::kSlots),
                         lost());
        return false;
    }
    if (node.tail.isLeaf > 1) {
        m_context.damage(place, "the node is neither a leaf nor an inner node", lost());
        return false;
    }
    return true;
}

bool EventIndexSurvey::walkRecord(Place place, const IndexNode& node, unsigned int entry,
                                  long long start, Subtree& subtree)
{
    IndexRecord record{};
    if (!m_context.claim(place, "an index record", node.children[entry], sizeof record,
                         "its events")) {
        return false;
    }
    m_context.file.readRecord(node.children[entry], record);
    if (!m_blocks.readBlock(m_bucket, place, record.block, record.size)) {
        return false;
    }
    place.block = record.block;
    place.blockSize = record.size;
    const WdbEventBlock& block = m_blocks.block(m_bucket);
    IndexKey key;
    long long largestDiff = 0;
    block.getLargestDiffAndKey(m_bucket.base, largestDiff, key.data());
    const std::string searchFails = "nothing; a search by time may go wrong here";
    if (key != node.keys[entry]) {
        m_context.damage(place, "other addresses change in the block than its index entry says",
                         searchFails);
    }
    if (block.getStartTime() != start) {
        m_context.damage(place,
                         fmt::format("the block starts at {}, in the index at {}",
                                     m_context.timeText(block.getStartTime()),
                                     m_context.timeText(start)),
                         searchFails);
    }
    if (largestDiff != record.largestDiff) {
        m_context.damage(place,
                         fmt::format("the largest diff of the block is {}, in the index {}",
                                     largestDiff, record.largestDiff),
                         searchFails);
    }
    subtree.largestDiff = record.largestDiff;
    subtree.keys = key;
    return true;
}

bool EventIndexSurvey::walkChild(const Place& place, const IndexNode& node, unsigned int entry,
                                 long long start, unsigned int level, Subtree& subtree)
{
    Place child = place;
    child.node = node.children[entry];
    if (!walkNode(child, start, level + 1, subtree)) {
        return false;
    }
    const long long length = subtractTimes(node.lengths[entry], node.precedingLength(entry));
    if (subtree.length != length) {
        tellDisagreement(child, fmt::format("the node covers {} units of time, for the node above "
                                            "it {}",
                                            subtree.length, length));
    }
    if (subtree.keys != node.keys[entry]) {
        tellDisagreement(child, "the node above it gives other addresses");
    }
    return true;
}

/// Nodes are stored one by one, so those of a killed writer may be of different ages.
void EventIndexSurvey::tellDisagreement(const Place& place, const std::string& what)
{
    if (m_isClosed) {
        m_context.damage(place, what, "nothing; a search by time may go wrong here");
    } else if (m_disagreements++ == 0) {
        m_firstDisagreement = place;
    }
}

} // namespace

void surveyEventIndex(const SurveyContext& context, const Tracewell::WdbEventDatabaseHeader& header,
                      EventBlockSurvey& blocks, EventBlockSurvey::Bucket& bucket,
                      long long treeHeader)
{
    Place place;
    place.section = kEventSection;
    place.bucket = bucket.number;
    EventIndexSurvey(context, blocks, bucket, header.m_latestTime != 0).walk(place, treeHeader);
}

} // namespace tracewell
