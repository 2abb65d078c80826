// SPDX-License-Identifier: BSD-3-Clause

#include "draw/Picture.h"

#include "draw/LaneNames.h"
#include "draw/TimeRuler.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace tracewell {

namespace {

constexpr std::size_t kLongestNames = 32;
constexpr std::size_t kFewestWaveColumns = 16;

/// What a limit of a curve takes beside its name.
constexpr std::size_t kLimitColumns = 7;

constexpr const char* kDense = "▓";
constexpr const char* kUnknown = "░";
constexpr const char* kLine = "─";
constexpr const char* kDashes = "╌";
constexpr const char* kRule = "┈";
constexpr std::size_t kRulerLines = 2;
constexpr std::size_t kLinesOfLane = 2;

std::size_t nameColumns(const std::vector<Signal>& signals, const LaneNames& names,
                        std::size_t columns)
{
    std::size_t longest = std::max(names.longest(), characterCount(names.common));
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (signals[i].curve != Curve::None) {
            const LaneName& name = names.lanes[i];
            longest = std::max(longest, characterCount(name.scope + name.name) + 1 + kLimitColumns);
        }
    }
    return std::min({longest, kLongestNames, std::max<std::size_t>(columns / 3, 1)});
}

std::size_t waveColumns(const std::vector<Signal>& signals, const LaneNames& names,
                        std::size_t columns)
{
    const std::size_t taken = nameColumns(signals, names, columns) + 1;
    return std::max(kFewestWaveColumns, columns > taken ? columns - taken : 0);
}

/// A row of single characters.
using Row = std::vector<std::string>;

std::string joined(const Row& row)
{
    std::string text;
    for (const std::string& character : row) {
        text += character;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

/// Two rows of characters that show one lane.
class LaneRows
{
public:
    LaneRows(const Lane& lane, const TimeWindow& window, std::size_t columns)
        : m_lane(lane), m_window(window), m_columns(columns), m_top(columns, " "),
          m_bottom(columns, " "), m_levels(columns, 0)
    {
        m_hasRange = lane.isCurve() && lane.getRange(m_lowest, m_highest);
        for (const LaneSegment& segment : lane.segments) {
            draw(segment);
        }
        // What is dense takes the columns at its ends too.
        for (const LaneSegment& segment : lane.segments) {
            if (segment.look == Look::Dense) {
                fill(column(segment.start), column(segment.end - 1) + 1, kDense, kDense);
            }
        }
        drawFirings();
    }

    std::string top() const { return joined(m_top); }
    std::string bottom() const { return joined(m_bottom); }

private:
    std::size_t column(long long time) const
    {
        const double span = std::max(1.0, static_cast<double>(m_window.to - m_window.from));
        const double place = static_cast<double>(time - m_window.from) / span;
        return std::min(m_columns,
                        static_cast<std::size_t>(place * static_cast<double>(m_columns)));
    }

    void fill(std::size_t from, std::size_t to, const char* top, const char* bottom)
    {
        for (std::size_t i = from; i < std::min(to, m_columns); ++i) {
            m_top[i] = top;
            m_bottom[i] = bottom;
        }
    }

    void draw(const LaneSegment& segment);
    void drawLevel(const LaneSegment& segment, std::size_t from, std::size_t to);
    void drawLetter(const LaneSegment& segment, std::size_t from, std::size_t to);
    void drawBus(const LaneSegment& segment, std::size_t from, std::size_t to);
    void drawCurve(const LaneSegment& segment, std::size_t from, std::size_t to);
    void drawFirings();

    const Lane& m_lane;
    const TimeWindow& m_window;
    std::size_t m_columns;
    Row m_top;
    Row m_bottom;
    /// The level on which the segment before ended, if it was one.
    Look m_before = Look::Blank;
    bool m_hasRange = false;
    double m_lowest = 0;
    double m_highest = 0;
    /// Of a curve, of each column.
    std::vector<int> m_levels;
};

void LaneRows::draw(const LaneSegment& segment)
{
    const std::size_t from = column(segment.start);
    const std::size_t to = segment.end >= m_window.to ? m_columns : column(segment.end);
    if (m_hasRange && segment.look >= Look::Bus && std::isfinite(segment.number)) {
        drawCurve(segment, from, to);
        return;
    }
    switch (segment.look) {
    case Look::Blank:
    case Look::Dense:
        break;
    case Look::Low:
    case Look::High:
        drawLevel(segment, from, to);
        break;
    case Look::WeakLow:
        fill(from, to, " ", kDashes);
        break;
    case Look::WeakHigh:
        fill(from, to, kDashes, " ");
        break;
    case Look::HighImpedance:
        fill(from, to, " ", kDashes);
        drawLetter(segment, from, to);
        break;
    case Look::Unknown:
    case Look::Uninitialized:
    case Look::Weak:
    case Look::DontCare:
    case Look::Bus:
    case Look::BusFloating:
    case Look::BusInPart:
        if (segment.look >= Look::Bus || !m_lane.signal.isDigital()) {
            drawBus(segment, from, to);
        } else {
            fill(from, to, kUnknown, kUnknown);
            drawLetter(segment, from, to);
        }
        break;
    }
    m_before = segment.look;
}

void LaneRows::drawLevel(const LaneSegment& segment, std::size_t from, std::size_t to)
{
    const bool high = segment.look == Look::High;
    fill(from, to, high ? kLine : " ", high ? " " : kLine);
    const bool edge = m_before == (high ? Look::Low : Look::High);
    if (edge && from < m_columns) {
        m_top[from] = high ? "┌" : "┐";
        m_bottom[from] = high ? "┘" : "└";
    }
}

void LaneRows::drawLetter(const LaneSegment& segment, std::size_t from, std::size_t to)
{
    if (from < std::min(to, m_columns)) {
        m_top[from] = std::string(1, letterOf(segment.look));
    }
}

void LaneRows::drawBus(const LaneSegment& segment, std::size_t from, std::size_t to)
{
    const bool unknown = segment.look < Look::Bus;
    fill(from, to, unknown ? kUnknown : " ", kLine);
    if (segment.startsHere && from < m_columns) {
        m_top[from] = "│";
        m_bottom[from] = from > 0 && m_bottom[from - 1] == kLine ? "┴" : "└";
        ++from;
    }
    const std::size_t room = to > from ? to - from : 0;
    const std::string text = fitText(segment, room);
    for (const std::string_view character : charactersOf(text)) {
        m_top[from] = character;
        // A wide one takes the place behind it too.
        for (std::size_t i = 1; i < characterCount(character); ++i) {
            m_top[from + i].clear();
        }
        from += characterCount(character);
    }
}

/// Blocks as high as the number, in sixteen steps over both rows. A piece that begins and ends in
/// one column shares it with its neighbours: the highest is seen.
void LaneRows::drawCurve(const LaneSegment& segment, std::size_t from, std::size_t to)
{
    static const char* const kBlocks[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr int kSteps = 8;
    const double span = m_highest / 2 - m_lowest / 2;
    const double part = span > 0 ? (segment.highest / 2 - m_lowest / 2) / span : 0.5;
    const int level = 1 + static_cast<int>(std::lround(part * (2 * kSteps - 1)));
    for (std::size_t i = from; i < std::min(std::max(to, from + 1), m_columns); ++i) {
        int& before = m_levels[i];
        before = i == from && to <= from ? std::max(before, level) : level;
        m_bottom[i] = kBlocks[std::min(before, kSteps)];
        m_top[i] = kBlocks[std::max(before - kSteps, 0)];
    }
}

void LaneRows::drawFirings()
{
    for (const long long time : m_lane.firings) {
        const std::size_t at = std::min(column(time), m_columns - 1);
        const bool several = m_top[at] == "↑" || m_top[at] == kDense;
        m_top[at] = several ? kDense : "↑";
        m_bottom[at] = several ? kDense : "│";
    }
}

/// One line of the picture: a name, then its part of the lanes.
std::string line(std::string name, std::size_t names, const std::string& lanes)
{
    if (!lanes.empty()) {
        name.append(names + 1 - characterCount(name), ' ');
    }
    return name + lanes + "\n";
}

/// A limit of a curve stands at the end of the names' column.
std::string withLimit(std::string name, const std::string& limit, std::size_t names)
{
    if (!limit.empty()) {
        name.append(names - characterCount(name) - limit.size(), ' ');
    }
    return name + limit;
}

/// A scope, with a line to the end of the picture behind it.
std::string headingLine(const std::string& scope, std::size_t columns)
{
    std::string text = scope;
    std::size_t taken = characterCount(scope) + 1;
    text += taken < columns ? " " : "";
    for (; taken < columns; ++taken) {
        text += kRule;
    }
    return text + "\n";
}

std::string drawRuler(const Picture& picture, const std::string& scope, std::size_t names,
                      std::size_t columns)
{
    Row labels(columns, " ");
    Row ticks(columns, kLine);
    std::size_t free = 0;
    for (const RulerTick& tick :
         makeRuler(picture.window, picture.timeText, static_cast<double>(columns), 1)) {
        const auto at = static_cast<std::size_t>(tick.position * static_cast<double>(columns));
        if (at >= columns || tick.label.empty()) {
            continue;
        }
        ticks[at] = "┬";
        if (at < free || at + tick.label.size() > columns) {
            continue;
        }
        for (std::size_t i = 0; i < tick.label.size(); ++i) {
            labels[at + i] = std::string(1, tick.label[i]);
        }
        free = at + tick.label.size() + 1;
    }
    return line("", names, joined(labels)) + line(scope, names, joined(ticks));
}

} // namespace

unsigned int textWaveWidth(const std::vector<Signal>& signals, unsigned int columns)
{
    return static_cast<unsigned int>(waveColumns(signals, nameLanes(signals), columns));
}

PictureScale textScale(const std::vector<Signal>& signals, unsigned int columns)
{
    // The edge in front of a value takes a column.
    return {static_cast<double>(textWaveWidth(signals, columns)), 1, 1, 2};
}

std::size_t textLines(const std::vector<Signal>& signals)
{
    return kRulerLines + kLinesOfLane * signals.size() + nameLanes(signals).headingCount();
}

std::string drawText(const Picture& picture, unsigned int columns)
{
    const std::vector<Signal> signals = picture.signals();
    const LaneNames lanes = nameLanes(signals);
    const std::size_t names = nameColumns(signals, lanes, columns);
    const std::size_t wave = waveColumns(signals, lanes, columns);
    std::string text = drawRuler(picture, cutStart(lanes.common, names), names, wave);
    for (std::size_t i = 0; i < picture.lanes.size(); ++i) {
        const LaneRows rows(picture.lanes[i], picture.window, wave);
        const LaneName& name = lanes.lanes[i];
        if (!name.heading.empty()) {
            text += headingLine(cutStart(name.heading, names + 1 + wave), names + 1 + wave);
        }
        const std::string shown = cutStart(name.scope + name.name, names);
        const std::size_t taken = characterCount(shown) + 1;
        const CurveLimits limits =
            limitsOf(picture.lanes[i], std::min(names - std::min(names, taken), kLimitColumns));
        text += line(withLimit(shown, limits.highest, names), names, rows.top()) +
                line(withLimit("", limits.lowest, names), names, rows.bottom());
    }
    if (!picture.note.empty()) {
        text += picture.note + "\n";
    }
    return text;
}

} // namespace tracewell
