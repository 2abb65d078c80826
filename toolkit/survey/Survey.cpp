// SPDX-License-Identifier: BSD-3-Clause

#include "survey/Survey.h"

#include "formats/vcd/DeclarationText.h"
#include "formats/wdb/NameSection.h"
#include "input/FileKind.h"
#include "survey/SurveyContext.h"
#include "text/Failure.h"
#include "text/Utf8.h"

#include "WdbAppendingBlockList.h"
#include "WdbTableOfContentItem.h"

#include <fmt/format.h>

#include <cstring>

namespace tracewell {

namespace {

using Tracewell::WdbFileHeader;
using Tracewell::WdbTableOfContentItem;
using ContentNode = Tracewell::WdbBlockListNode<10>;

std::string fieldText(const char* field, std::size_t size)
{
    return printable(std::string_view(field, strnlen(field, size)));
}

void readSection(const SurveyContext& context, const Place& nodePlace, long long offset,
                 unsigned int size)
{
    Place place = nodePlace;
    place.block = offset;
    place.blockSize = size;
    WdbTableOfContentItem item;
    if (size != sizeof item) {
        context.damage(
            place,
            fmt::format("an entry of the table has {} bytes instead of {}", size, sizeof item),
            "this section");
        return;
    }
    if (!context.claim(place, "an entry of the table", offset, size, "this section")) {
        return;
    }
    context.file.readRecord(offset, item);
    const std::string id = fieldText(item.m_sectionId, WdbTableOfContentItem::kIdSize);
    context.survey.sections.push_back({id, item.m_version, item.m_fileOffset, item.m_size});
}

/// The sections that are embedded whole are claimed here, the others by those who know them.
void claimForeignSections(const SurveyContext& context)
{
    std::vector<std::string> seen;
    for (const Survey::Section& section : context.survey.sections) {
        const std::string key = fmt::format("{}/{}", section.id, section.version);
        Place place;
        place.section = section.id;
        if (std::find(seen.begin(), seen.end(), key) != seen.end()) {
            context.notice(place, fmt::format("the section is listed twice; the one at {} is "
                                              "hidden by the first",
                                              section.offset));
        }
        seen.push_back(key);
        if (section.id != kEventSection && section.id != "WDB.StringMap") {
            context.claim(place, "the section", section.offset, section.size, "this section");
        }
    }
}

} // namespace

std::string SurveyContext::timeText(long long time) const
{
    return survey.timeText.format(time);
}

bool SurveyContext::claim(const Place& place, const std::string& thing, long long offset,
                          long long size, const std::string& lost) const
{
    const auto isInFile = [&] {
        return size >= 0 && file.contains(offset, static_cast<unsigned long long>(size));
    };
    if (!isInFile() && !(file.lookAgain() && isInFile())) {
        damage(place,
               fmt::format("{} of {} bytes at {} does not lie in the file of {} bytes", thing, size,
                           offset, file.size()),
               lost);
        return false;
    }
    if (!extents.claim(offset, size)) {
        damage(place,
               fmt::format("{} of {} bytes at {} overlaps something else in the file", thing, size,
                           offset),
               lost);
        return false;
    }
    return true;
}

void SurveyContext::showProgress() const
{
    if (progress) {
        progress(static_cast<double>(extents.claimed()) / static_cast<double>(file.size()));
    }
}

void surveyContainer(const SurveyContext& context)
{
    WdbFileHeader& header = context.survey.header;
    context.file.readRecord(0, header);
    context.extents.claim(0, sizeof header);

    Place place;
    place.section = "table of contents";
    const std::string rest = "all further sections";
    if (header.m_tableOfContentOffset == 0) {
        context.damage(place, "there is none", "everything; the writer ended before it began");
        return;
    }
    for (long long offset = header.m_tableOfContentOffset; offset != 0;) {
        place.node = offset;
        ContentNode node;
        if (!context.claim(place, "a node", offset, sizeof node, rest)) {
            return;
        }
        context.file.readRecord(offset, node);
        if (node.m_count > ContentNode::kSlots) {
            context.damage(place,
                           fmt::format("the node counts {} entries and has room for {}",
                                       node.m_count, ContentNode::kSlots),
                           "perhaps sections");
        }
        for (unsigned int i = 0; i < std::min(node.m_count, ContentNode::kSlots); ++i) {
            readSection(context, place, node.m_handles[i], node.m_sizes[i]);
        }
        if (node.m_count < ContentNode::kSlots && node.m_next != 0) {
            context.damage(place, "a node that is not full has a successor", "perhaps sections");
        }
        offset = node.m_next;
    }
    claimForeignSections(context);
}

void surveyNameTable(const SurveyContext& context, const std::string& section, long long offset,
                     long long size)
{
    if (size <= 0 || !context.file.contains(offset, static_cast<unsigned long long>(size))) {
        return;
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    context.file.read(offset, text.data(), text.size());
    if (!isNameTable(text)) {
        return;
    }
    try {
        context.survey.names = parseDeclarations(text);
        context.survey.hasNames = true;
        context.survey.timeText = TimeText(context.survey.names.timescale);
    } catch (const Failure& e) {
        Place place;
        place.section = section;
        context.damage(place, fmt::format("the name table makes no sense: {}", e.what()),
                       context.survey.transitions
                           ? "all names; objects can still be asked for by number"
                           : "all names; bytes can still be asked for by address");
    }
}

void surveyNames(const SurveyContext& context)
{
    for (const Survey::Section& section : context.survey.sections) {
        if (section.id == kNameSection && section.version == kNameSectionVersion &&
            section.size > 0) {
            surveyNameTable(context, kNameSection, section.offset, section.size);
            return;
        }
    }
}

Survey surveyFile(const std::string& path, const std::function<void(double)>& progress)
{
    const FileKind kind = findFileKind(path);
    FileBytes file(path);
    ExtentMap extents;
    Survey survey;
    const SurveyContext context{file, extents, survey, progress};
    if (kind == FileKind::Transitions) {
        surveyTransitions(context);
    } else {
        surveyContainer(context);
        surveyNames(context);
        kind == FileKind::Columns ? surveyColumns(context) : surveyEvents(context);
        surveyStrings(context);
    }
    survey.fileSize = file.size();
    survey.unclaimedBytes = file.size() - extents.claimed();
    if (survey.ending == Survey::Ending::Unknown && survey.eventHeader &&
        survey.unclaimedBytes > 0) {
        // Blocks that are listed nowhere. No writer that came to its end leaves any.
        survey.ending = Survey::Ending::NeverClosed;
    }
    return survey;
}

} // namespace tracewell
