// SPDX-License-Identifier: BSD-3-Clause

#include "wave/DamageText.h"

#include <fmt/format.h>

namespace tracewell {

namespace {

using Tracewell::WdbDamage;

const char* nameOf(WdbDamage::Kind kind)
{
    switch (kind) {
    case WdbDamage::SectionEntry:
        return "an entry of the table of contents";
    case WdbDamage::Section:
        return "a section";
    case WdbDamage::ListNode:
        return "a list node";
    case WdbDamage::EventBlock:
        return "the event block";
    case WdbDamage::IndexNode:
        return "an index node";
    case WdbDamage::IndexRecord:
        return "an index record";
    case WdbDamage::TextNode:
        return "a list node of the texts";
    case WdbDamage::TextBlock:
        return "the block of texts";
    case WdbDamage::TransitionTree:
        return "the tree";
    case WdbDamage::TransitionBlock:
        return "the block of transitions";
    case WdbDamage::InitialTransition:
        return "the value at time 0";
    case WdbDamage::ColumnSegment:
        return "a segment of columns";
    }
    return "something";
}

std::string placeOf(const WdbDamage& damage, unsigned long long division)
{
    std::string text = nameOf(damage.m_kind);
    if (damage.m_kind != WdbDamage::InitialTransition) {
        text += fmt::format(" at {}", damage.m_offset);
    }
    if (damage.m_owner < 0) {
        return text;
    }
    const auto owner = static_cast<unsigned long long>(damage.m_owner);
    if (damage.m_kind >= WdbDamage::TransitionTree) {
        return text + fmt::format(" (object {})", owner);
    }
    return division == 0 ? text : text + fmt::format(" (bucket {})", owner / division);
}

} // namespace

std::string describeDamage(const std::vector<WdbDamage>& places, unsigned long long division,
                           const TimeText& timeText, std::optional<long long> end)
{
    std::string text =
        fmt::format("damaged: {} cannot be read in full", placeOf(places.front(), division));
    if (places.size() > 1) {
        text += places.size() < Tracewell::WdbDamageLog::kMostPlaces
                    ? fmt::format(", nor can {} other {}", places.size() - 1,
                                  places.size() == 2 ? "place" : "places")
                    : std::string(", nor can many other places");
    }
    if (end) {
        text += *end < 0 ? std::string("; no time is whole, so all was left out")
                         : fmt::format("; all is whole up to {}, and what lies behind was left out",
                                       timeText.format(*end));
    }
    return text + "; tracewell verify tells more";
}

} // namespace tracewell
