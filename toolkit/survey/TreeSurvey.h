// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "survey/SurveyContext.h"
#include "survey/TransitionNode.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tracewell {

/// What is lost where the reading commands refuse the file.
constexpr const char* kWholeFile = "everything, since such a file is refused";

/// Walks the trees of all objects of a transition database.
class TreeSurvey
{
public:
    explicit TreeSurvey(const SurveyContext& context)
        : m_context(context), m_counts(*context.survey.transitions), m_recordWindow(context.file),
          m_blockWindow(context.file)
    {
        m_place.section = kTreeSection;
    }

    /// Walks the tree of the section at `offset`.
    void walk(long long offset);
    /// Ids of the objects that have a tree, sorted.
    const std::vector<std::uint32_t>& ids() const { return m_ids; }

private:
    static constexpr const char* kTreeSection = "tree";
    static constexpr long long kHeadBytes = 12;
    static constexpr long long kEntryBytes = 20;
    static constexpr unsigned int kMostLevels = 3;

    struct Entry
    {
        std::uint32_t id = 0;
        std::uint32_t records = 0;
        long long offset = 0;
        std::uint32_t kind = 0;
    };

    void walkTree(const Entry& entry);
    void checkInner(const Place& place, const TransitionNode& node, std::size_t firstChild);
    void walkLeaf(Place place, const TransitionNode& leaf);
    bool checkLeaf(const Place& place, const TransitionNode& leaf);
    void checkOrder(const Place& place, const TransitionNode& leaf);
    void walkGaps(const Place& place, const TransitionNode& leaf);
    long long gapAt(const TransitionNode& leaf, int index) const;
    void finishTree();
    /// What is lost by bytes that lie elsewhere than they should: what they hold, as long as they
    /// are in the file at all.
    std::string lossOf(long long offset, long long size, const char* held) const
    {
        return m_context.file.contains(offset, static_cast<unsigned long long>(size)) ? held
                                                                                      : kWholeFile;
    }
    TransitionNode nodeAt(std::size_t record) const
    {
        return TransitionNode::read(&m_records[record * TransitionNode::kBytes]);
    }

    const SurveyContext& m_context;
    Survey::Transitions& m_counts;
    FileBytes::Window m_recordWindow;
    FileBytes::Window m_blockWindow;
    Place m_place;
    std::vector<std::uint32_t> m_ids;
    // Of the tree at hand.
    std::vector<unsigned char> m_records;
    std::vector<unsigned char> m_block;
    bool m_hasLeaf = false;
    long long m_lastTime = 0;
    unsigned int m_kind = 0;
    unsigned long long m_restarts = 0;
    Place m_firstRestart;
    // Of all.
    bool m_hasLatest = false;
    long long m_latest = 0;
};

} // namespace tracewell
