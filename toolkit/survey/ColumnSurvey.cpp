// SPDX-License-Identifier: BSD-3-Clause

#include "survey/SurveyContext.h"
#include "text/Counted.h"

#include "QsimException.h"
#include "WdbColumnReader.h"
#include "WdbDamageLog.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

using Tracewell::WdbColumnExtent;

constexpr const char* kColumnSection = "Tracewell Columns";

const char* nameOf(WdbColumnExtent::Kind kind)
{
    switch (kind) {
    case WdbColumnExtent::Fields:
        return "the list of fields";
    case WdbColumnExtent::Catalog:
        return "a part of the list of segments";
    case WdbColumnExtent::Segment:
        return "a segment";
    case WdbColumnExtent::ShortSegment:
        return "a short segment";
    case WdbColumnExtent::Digest:
        return "a digest";
    case WdbColumnExtent::Free:
        break;
    }
    return "room that was given up";
}

bool isSegment(const WdbColumnExtent& extent)
{
    return extent.m_kind == WdbColumnExtent::Segment ||
           extent.m_kind == WdbColumnExtent::ShortSegment;
}

std::string lostOf(const SurveyContext& context, const WdbColumnExtent& extent)
{
    if (isSegment(extent)) {
        return fmt::format("up to {} from time {} to {}", counted(extent.m_changes, "change"),
                           context.timeText(extent.m_firstTime),
                           context.timeText(extent.m_lastTime));
    }
    const bool isNeeded =
        extent.m_kind != WdbColumnExtent::Free && extent.m_kind != WdbColumnExtent::Digest;
    return isNeeded ? "perhaps all changes" : "nothing";
}

void take(const SurveyContext& context, const WdbColumnExtent& extent)
{
    ColumnFacts& columns = *context.survey.columns;
    Place place;
    place.section = kColumnSection;
    place.block = extent.m_offset;
    place.blockSize = extent.m_size;
    if (!context.claim(place, nameOf(extent.m_kind), extent.m_offset, extent.m_size,
                       lostOf(context, extent))) {
        return;
    }
    if (extent.m_kind == WdbColumnExtent::Free) {
        columns.freeBytes += extent.m_size;
    }
    if (isSegment(extent)) {
        ++(extent.m_kind == WdbColumnExtent::Segment ? columns.segments : columns.shortSegments);
        columns.bytes += extent.m_size;
    }
    if (!extent.m_isSound) {
        context.damage(place, fmt::format("{} is damaged", nameOf(extent.m_kind)),
                       lostOf(context, extent));
    }
    context.showProgress();
}

/// Where the list of segments breaks off, nothing tells of what would have followed.
void takeListDamage(const SurveyContext& context, const Tracewell::WdbDamage& damage)
{
    Place place;
    place.section = kColumnSection;
    place.block = damage.m_offset;
    context.damage(place, "the list of segments breaks off here",
                   damage.m_hasTime ? "all changes behind time " + context.timeText(damage.m_time)
                                    : "all changes");
}

} // namespace

void surveyColumns(const SurveyContext& context)
{
    Survey& survey = context.survey;
    survey.columns.emplace();
    Place place;
    place.section = kColumnSection;
    Tracewell::WdbColumnReader reader;
    try {
        reader.open(context.file.path());
    } catch (const Qsim::OpenException& e) {
        context.damage(place, "neither of the two roots is whole", "all changes");
        survey.ending = Survey::Ending::Unknown;
        return;
    }
    for (const Tracewell::WdbDamage& damage : reader.getFileManager().getDamageLog().getPlaces()) {
        if (damage.m_kind == Tracewell::WdbDamage::ColumnSegment) {
            takeListDamage(context, damage);
        }
    }
    ColumnFacts& columns = *survey.columns;
    columns.changes = reader.getChangeCount();
    columns.fields = reader.getFieldCount();
    columns.latestTime = std::max(reader.getLatestTime(), 0LL);
    survey.wholeness.isClosed = reader.isClosed();
    survey.wholeness.hasEvents = columns.changes > 0;
    survey.wholeness.upTo = reader.isClosed() ? columns.latestTime : reader.getWholeTime();
    survey.latestEvent = std::max(reader.getLastChangeTime(), 0LL);
    survey.ending = reader.isClosed() ? Survey::Ending::Closed : Survey::Ending::NeverClosed;
    const bool areRootsSound =
        reader.survey([&](const WdbColumnExtent& extent) { take(context, extent); });
    if (!areRootsSound) {
        context.damage(place, "one of the two roots is damaged",
                       reader.isClosed() ? "nothing"
                                         : "perhaps what the writer stored last, its end too");
    }
}

} // namespace tracewell
