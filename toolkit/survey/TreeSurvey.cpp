// SPDX-License-Identifier: BSD-3-Clause

#include "survey/TreeSurvey.h"

#include "text/Counted.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

void TreeSurvey::walk(long long offset)
{
    unsigned char head[kHeadBytes];
    if (!m_context.claim(m_place, "the start of the section", offset, kHeadBytes, kWholeFile)) {
        return;
    }
    m_context.file.read(offset, head, sizeof head);
    std::uint32_t trees = 0;
    std::memcpy(&m_counts.latestTime, head, sizeof m_counts.latestTime);
    std::memcpy(&trees, head + 8, sizeof trees);
    const long long directorySize = kEntryBytes * trees;
    if (!m_context.claim(m_place, fmt::format("the directory of {} trees", trees),
                         offset + kHeadBytes, directorySize, kWholeFile)) {
        return;
    }
    std::vector<unsigned char> directory(static_cast<std::size_t>(directorySize));
    m_context.file.read(offset + kHeadBytes, directory.data(), directory.size());
    m_context.survey.sections.push_back({kTreeSection, 0, offset, kHeadBytes + directorySize});
    const std::size_t section = m_context.survey.sections.size() - 1;
    for (std::uint32_t i = 0; i < trees; ++i) {
        const unsigned char* const at = &directory[kEntryBytes * i];
        Entry entry;
        std::memcpy(&entry.id, at, sizeof entry.id);
        std::memcpy(&entry.records, at + 4, sizeof entry.records);
        entry.offset = loadHalves(at + 8);
        std::memcpy(&entry.kind, at + 16, sizeof entry.kind);
        m_ids.push_back(entry.id);
        m_place.object = entry.id;
        const unsigned long long claimed = m_counts.nodes;
        walkTree(entry);
        m_context.survey.sections[section].size +=
            TransitionNode::kBytes * static_cast<long long>(m_counts.nodes - claimed);
        m_context.showProgress();
    }
    m_place.object = -1;
    m_counts.objects = trees;
    std::sort(m_ids.begin(), m_ids.end());
    const auto twin = std::adjacent_find(m_ids.begin(), m_ids.end());
    if (twin != m_ids.end()) {
        m_context.damage(m_place, fmt::format("object {} has two trees", *twin), kWholeFile);
    }
    if (m_hasLatest && m_latest > m_counts.latestTime) {
        m_context.notice(m_place,
                         fmt::format("the stored latest time is {}, the latest transition is at {}",
                                     m_context.timeText(m_counts.latestTime),
                                     m_context.timeText(m_latest)));
        m_counts.latestTime = m_latest;
    }
}

/// Records lie so that each takes the next ones, which are nobody's yet, as its children.
void TreeSurvey::walkTree(const Entry& entry)
{
    const long long size = TransitionNode::kBytes * entry.records;
    if (entry.records == 0) {
        m_context.damage(m_place, "the tree has no records", kWholeFile);
        return;
    }
    if (!m_context.claim(m_place, "a run of " + counted(entry.records, "record"), entry.offset,
                         size, lossOf(entry.offset, size, "the object"))) {
        return;
    }
    m_records.resize(static_cast<std::size_t>(size));
    m_recordWindow.read(entry.offset, m_records.data(), m_records.size());
    m_counts.nodes += entry.records;
    m_hasLeaf = false;
    m_restarts = 0;
    m_kind = nodeAt(0).kind();
    if (entry.kind != m_kind) {
        m_context.notice(m_place, fmt::format("the directory gives the object kind {}, its tree {}",
                                              entry.kind, m_kind));
    }
    std::size_t nextChild = 1;
    std::size_t levelEnd = 1;
    unsigned int level = 1;
    Place place = m_place;
    for (std::size_t i = 0; i < entry.records; ++i) {
        place.node = entry.offset + TransitionNode::kBytes * static_cast<long long>(i);
        if (i == nextChild) {
            m_context.damage(place, "the node has no parent", kWholeFile);
            return;
        }
        if (i == levelEnd) {
            levelEnd = nextChild;
            ++level;
        }
        const TransitionNode node = nodeAt(i);
        if (node.children == 0) {
            walkLeaf(place, node);
            continue;
        }
        if (level == kMostLevels) {
            m_context.damage(place, "the tree has more than three levels", kWholeFile);
            return;
        }
        if (node.children > entry.records - nextChild) {
            m_context.damage(
                place,
                fmt::format("the node has {}, and only {} left",
                            counted(node.children, "child", "children"),
                            counted(entry.records - nextChild, "record is", "records are")),
                kWholeFile);
            return;
        }
        checkInner(place, node, nextChild);
        nextChild += node.children;
    }
    finishTree();
}

void TreeSurvey::checkInner(const Place& place, const TransitionNode& node, std::size_t firstChild)
{
    long long largestGap = 0;
    for (std::size_t i = 0; i < node.children; ++i) {
        largestGap = std::max(largestGap, nodeAt(firstChild + i).largestGap);
    }
    const long long first = nodeAt(firstChild).firstTime;
    const long long last = nodeAt(firstChild + node.children - 1).lastTime;
    if (node.firstTime != first || node.lastTime != last) {
        m_context.damage(place,
                         fmt::format("the node covers the times {} to {}, its children {} to {}",
                                     node.firstTime, node.lastTime, first, last),
                         "some answers by time");
    } else if (node.largestGap < largestGap) {
        m_context.damage(place,
                         fmt::format("the node's largest gap is {}, that of its children {}",
                                     node.largestGap, largestGap),
                         "details of drawings");
    }
}

void TreeSurvey::walkLeaf(Place place, const TransitionNode& leaf)
{

    if (!checkLeaf(place, leaf)) {
        return;
    }
    const long long size = leaf.blockBytes();
    if (size > 0) {
        place.block = leaf.offset;
        place.blockSize = size;
        if (!m_context.claim(place, "the block", leaf.offset, size,
                             lossOf(leaf.offset, size, "its transitions"))) {
            return;
        }
        m_block.resize(static_cast<std::size_t>(size));
        m_blockWindow.read(leaf.offset, m_block.data(), m_block.size());
        m_counts.blockBytes += size;
    }
    ++m_counts.blocks;
    m_counts.periodicBlocks += leaf.period() != 0 ? 1u : 0u;
    m_counts.wideBlocks += leaf.isWide() ? 1u : 0u;
    m_counts.emptyBlocks += size == 0 ? 1u : 0u;
    m_counts.transitions += static_cast<unsigned int>(leaf.count);
    m_latest = m_hasLatest ? std::max(m_latest, leaf.lastTime) : leaf.lastTime;
    m_hasLatest = true;
    walkGaps(place, leaf);
    checkOrder(place, leaf);
}

bool TreeSurvey::checkLeaf(const Place& place, const TransitionNode& leaf)
{
    if (leaf.count < 1 || leaf.count > TransitionNode::kMostInBlock) {
        m_context.damage(place,
                         fmt::format("a block of {} transitions is not between 1 and {}",
                                     leaf.count, TransitionNode::kMostInBlock),
                         kWholeFile);
        return false;
    }
    if (leaf.period() > TransitionNode::kLongestPeriod || leaf.flags >> 16 != 0) {
        m_context.damage(place, fmt::format("flags of {:#x} make no sense", leaf.flags),
                         kWholeFile);
        return false;
    }
    constexpr unsigned int kTextless[] = {3, 5, 7};
    const bool isTextless =
        leaf.period() == 0 &&
        std::find(std::begin(kTextless), std::end(kTextless), leaf.kind()) != std::end(kTextless);
    if (!leaf.hasValues() && !isTextless) {
        m_context.damage(place,
                         fmt::format("a block with flags of {:#x} has no values", leaf.flags),
                         "the values of the block");
    } else if (leaf.kind() != m_kind) {
        m_context.damage(place,
                         fmt::format("the values are of kind {}, those of the object of kind {}",
                                     leaf.kind(), m_kind),
                         "perhaps the values of the block");
    }
    return true;
}

void TreeSurvey::checkOrder(const Place& place, const TransitionNode& leaf)
{
    if (m_hasLeaf && leaf.firstTime < m_lastTime) {
        if (leaf.firstTime != 0) {
            m_context.damage(place,
                             fmt::format("the block starts at time {}, the one before it ends at "
                                         "{}",
                                         leaf.firstTime, m_lastTime),
                             "some answers by time");
        } else if (m_restarts++ == 0) {
            m_firstRestart = place;
        }
    } else if (leaf.firstTime < 0) {
        m_context.damage(place, fmt::format("the block starts at time {}", leaf.firstTime),
                         "transitions before time 0");
    }
    m_lastTime = leaf.lastTime;
    m_hasLeaf = true;
}

long long TreeSurvey::gapAt(const TransitionNode& leaf, int index) const
{
    if (leaf.period() == 1) {
        return leaf.largestGap;
    }
    if (leaf.period() != 0 || !leaf.isWide()) {
        const auto slot = static_cast<std::size_t>(
            leaf.period() == 0 ? index : index % static_cast<int>(leaf.period()));
        std::uint32_t gap = 0;
        std::memcpy(&gap, &m_block[slot * sizeof gap], sizeof gap);
        return gap;
    }
    long long gap = 0;
    std::memcpy(&gap, &m_block[static_cast<std::size_t>(index) * sizeof gap], sizeof gap);
    return gap;
}

/// The gaps must rise, and lead from the first time to the last.
void TreeSurvey::walkGaps(const Place& blockPlace, const TransitionNode& leaf)
{
    Place place = blockPlace;
    long long largest = 0;
    long long time = leaf.firstTime;
    for (int i = 0; i + 1 < leaf.count; ++i) {
        const long long gap = gapAt(leaf, i);
        if (gap < 1 || time > std::numeric_limits<long long>::max() - gap) {
            place.record = i;
            m_context.damage(place, fmt::format("a gap of {} to the next transition", gap),
                             "the times of those behind it in the block");
            return;
        }
        time += gap;
        largest = std::max(largest, gap);
    }
    if (time != leaf.lastTime) {
        m_context.damage(place,
                         fmt::format("the gaps lead from time {} to {}, the leaf says {}",
                                     leaf.firstTime, time, leaf.lastTime),
                         "the times of some transitions in the block");
    } else if (largest > leaf.largestGap) {
        m_context.damage(
            place, fmt::format("a gap of {}, the leaf says at most {}", largest, leaf.largestGap),
            "details of drawings");
    }
}

void TreeSurvey::finishTree()
{
    if (m_restarts > 0) {
        m_context.notice(m_firstRestart,
                         fmt::format("the value at time 0 comes in again here ({} times in the "
                                     "object); the writer was short of memory",
                                     m_restarts));
    }
}

} // namespace tracewell
