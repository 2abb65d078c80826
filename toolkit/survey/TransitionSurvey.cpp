// SPDX-License-Identifier: BSD-3-Clause

#include "formats/wdb/TransitionHeader.h"
#include "names/TransitionLayout.h"
#include "survey/SurveyContext.h"
#include "survey/TreeSurvey.h"
#include "text/Counted.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace tracewell {

namespace {

constexpr const char* kInitialSection = "initial values";
constexpr const char* kDebugSection = "debug data";

/// Goes through the table of initial values, a page after the other.
class InitialValueSurvey
{
public:
    InitialValueSurvey(const SurveyContext& context, const std::vector<std::uint32_t>& treeIds)
        : m_context(context), m_counts(*context.survey.transitions), m_treeIds(treeIds)
    {
        m_place.section = kInitialSection;
    }

    void walk(long long offset);

private:
    static constexpr std::uint32_t kPageSize = 1u << 20;
    static constexpr std::uint32_t kPages = 2048;

    bool walkPages(long long offset);
    bool walkPage(long long offset, std::uint32_t firstId, std::uint32_t size);

    const SurveyContext& m_context;
    Survey::Transitions& m_counts;
    const std::vector<std::uint32_t>& m_treeIds;
    Place m_place;
    std::vector<unsigned char> m_page;
    long long m_end = 0;
    unsigned long long m_unknown = 0;
    std::uint32_t m_firstUnknown = 0;
};

void InitialValueSurvey::walk(long long offset)
{
    std::uint32_t maxId = 0;
    if (!m_context.claim(m_place, "the largest id", offset, sizeof maxId, kWholeFile)) {
        return;
    }
    m_context.file.readRecord(offset, maxId);
    m_end = offset + static_cast<long long>(sizeof maxId);
    const bool isWhole =
        maxId == 0 || (maxId < kPageSize ? walkPage(m_end, 0, maxId + 1) : walkPages(m_end));
    m_context.survey.sections.push_back({kInitialSection, 0, offset, m_end - offset});
    if (isWhole && m_unknown > 0) {
        m_context.damage(m_place,
                         fmt::format("{} of no known kind, object {}'s is the "
                                     "first",
                                     counted(m_unknown, "initial value is", "initial values are"),
                                     m_firstUnknown),
                         "the values of these objects at time 0");
    }
}

bool InitialValueSurvey::walkPages(long long offset)
{
    unsigned char present[kPages];
    if (!m_context.claim(m_place, "the table of pages", offset, kPages, kWholeFile)) {
        return false;
    }
    m_context.file.read(offset, present, sizeof present);
    m_end = offset + kPages;
    for (std::uint32_t i = 0; i < kPages; ++i) {
        if (present[i] != 0 && !walkPage(m_end, i * kPageSize, kPageSize)) {
            return false;
        }
    }
    return true;
}

bool InitialValueSurvey::walkPage(long long offset, std::uint32_t firstId, std::uint32_t size)
{
    if (!m_context.claim(m_place, fmt::format("the values from object {} on", firstId), offset,
                         size, kWholeFile)) {
        return false;
    }
    m_page.resize(size);
    m_context.file.read(offset, m_page.data(), size);
    m_end = offset + size;
    for (std::uint32_t i = 0; i < size; ++i) {
        if (m_page[i] == 0) {
            continue;
        }
        const unsigned int kind = m_page[i] >> 4;
        if (kind != 1 && kind != 2 && kind != 4 && m_unknown++ == 0) {
            m_firstUnknown = firstId + i;
        }
        ++m_counts.initialValues;
        if (!std::binary_search(m_treeIds.begin(), m_treeIds.end(), firstId + i)) {
            ++m_counts.constants;
        }
    }
    m_context.showProgress();
    return true;
}

/// Whether there is anything to go on with.
bool checkHeader(const SurveyContext& context, TransitionHeader& header)
{
    Place place;
    place.section = "header";
    if (!context.claim(place, "the header", 0, sizeof header, "everything")) {
        return false;
    }
    context.file.readRecord(0, header);
    context.survey.sections.push_back({place.section, 0, 0, sizeof header});
    context.survey.ending =
        header.isUnfinished() ? Survey::Ending::NeverClosed : Survey::Ending::Closed;
    context.survey.transitions->limit = header.limit;
    if (header.isUnfinished()) {
        context.damage(place, "the writer has not finished the file",
                       "everything, unless it still works and comes to its end");
        return false;
    }
    const auto isReserved = [](std::uint64_t word) { return word == TransitionHeader::kReserved; };
    if (header.firstBlock != sizeof header || !isReserved(header.reserved) ||
        !std::all_of(std::begin(header.reservedAtEnd), std::end(header.reservedAtEnd),
                     isReserved)) {
        context.notice(place, "words that always have one value have another");
    }
    return true;
}

/// To the end of the file.
void claimDebugData(const SurveyContext& context, long long offset)
{
    Place place;
    place.section = kDebugSection;
    constexpr long long kHeaderSize = sizeof(TransitionHeader);
    if (offset < kHeaderSize || offset > context.file.size()) {
        context.damage(
            place,
            fmt::format("it starts at {}, in a file of {} bytes", offset, context.file.size()),
            "all names");
        return;
    }
    const long long size = context.file.size() - offset;
    if (context.claim(place, "the debug data", offset, size, "all names")) {
        context.survey.sections.push_back({kDebugSection, 0, offset, size});
    }
}

void checkNames(const SurveyContext& context, const std::vector<std::uint32_t>& ids)
{
    if (!context.survey.hasNames) {
        return;
    }
    const unsigned long long named = TransitionLayout(context.survey.names).totalCount();
    const auto nameless = std::upper_bound(ids.begin(), ids.end(), named);
    if (nameless != ids.end()) {
        Place place;
        place.section = kDebugSection;
        place.object = *nameless;
        context.notice(place,
                       fmt::format("the names are those of the objects 1 to {}; {} "
                                   "transitions",
                                   named,
                                   counted(static_cast<unsigned long long>(ids.end() - nameless),
                                           "other has", "others have")));
    }
}

} // namespace

void surveyTransitions(const SurveyContext& context)
{
    Survey& survey = context.survey;
    survey.transitions = Survey::Transitions();
    TransitionHeader header{};
    if (!checkHeader(context, header)) {
        return;
    }
    surveyNameTable(context, kDebugSection, header.debugData,
                    context.file.size() - std::max<long long>(header.debugData, 0));
    TreeSurvey trees(context);
    trees.walk(header.tree);
    InitialValueSurvey(context, trees.ids()).walk(header.initialValues);
    claimDebugData(context, header.debugData);
    checkNames(context, trees.ids());
    Survey::Transitions& counts = *survey.transitions;
    if (counts.blockBytes > 0) {
        survey.sections.insert(survey.sections.begin() + 1,
                               {"blocks", 0, header.firstBlock, counts.blockBytes});
    }
}

} // namespace tracewell
