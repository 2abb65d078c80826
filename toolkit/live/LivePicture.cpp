// SPDX-License-Identifier: BSD-3-Clause

#include "live/LivePicture.h"

#include "live/LiveViewer.h"
#include "wave/SignalCursor.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace tracewell {

namespace {

constexpr std::size_t kNamedInNote = 3;

} // namespace

LivePicture::LivePicture(LiveViewer& viewer, const SignalNames& names, std::vector<Signal> signals,
                         long long shown)
    : m_viewer(viewer), m_names(names), m_values(viewer.values(names, std::move(signals))),
      m_shown(shown)
{}

std::vector<std::string> LivePicture::draw(unsigned int columns, std::size_t rows) const
{
    const std::size_t count = m_values->signals().size();
    std::vector<Signal> shown = m_values->signals();
    shown.resize(std::min(count, rows / 2 + 1));
    while (shown.size() > 1 && textLines(shown) > rows) {
        shown.pop_back();
    }
    const std::size_t fits = shown.size();
    Picture picture;
    picture.timeText = m_names.timeText();
    m_viewer.whileSteady([&] {
        const long long latest = m_viewer.latestTime();
        picture.window.to = std::max(latest, 1LL);
        picture.window.from = m_shown > 0 && latest > m_shown ? picture.window.to - m_shown : 0;
        fillLanes(picture, *m_values, std::max(latest, 1LL),
                  textWaveWidth(m_values->signals(), columns), 1);
    });
    if (fits < count) {
        picture.lanes.resize(fits);
        if (rows > textLines(shown)) {
            picture.note = fmt::format("{} more; a higher terminal shows them", count - fits);
        }
    }
    const std::string text = drawText(picture, columns);
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

LivePicture::Values LivePicture::currentValues() const
{
    const ValueText valueText([&](long long id) { return m_values->lookUp(id); });
    Values values;
    m_viewer.whileSteady([&] {
        const long long latest = m_viewer.latestTime();
        for (std::size_t i = 0; i < m_values->signals().size(); ++i) {
            const auto cursor = m_values->cursor(i, {latest, latest, 0});
            SignalState state;
            while (cursor->next()) {
                state = cursor->state();
            }
            values.emplace_back(m_values->signals()[i].label,
                                valueText.format(m_values->signals()[i], state));
        }
    });
    return values;
}

std::string LivePicture::noteOnTexts() const
{
    std::vector<std::string> strings;
    for (const Signal& signal : m_values->signals()) {
        if (signal.valueKind->isText()) {
            strings.push_back(signal.label);
        }
    }
    if (strings.empty()) {
        return {};
    }
    const std::size_t more = strings.size() - std::min(strings.size(), kNamedInNote);
    strings.resize(strings.size() - more);
    return fmt::format("texts do not travel on a live channel: {}{} show{} when the string "
                       "changes, and ? for it",
                       fmt::join(strings, ", "), more > 0 ? fmt::format(" and {} more", more) : "",
                       strings.size() == 1 ? "s" : "");
}

} // namespace tracewell
