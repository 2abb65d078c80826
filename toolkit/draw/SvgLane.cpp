// SPDX-License-Identifier: BSD-3-Clause

#include "draw/SvgLane.h"

#include "draw/SvgStyle.h"
#include "draw/SvgText.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tracewell {

namespace {

/// Half of a bus's crossing.
constexpr double kSlant = 3;
/// Half of a mark across a line.
constexpr double kTick = 3;

std::string number(double value)
{
    return svgNumber(value);
}

/// Of a segment that can be pointed at.
constexpr double kNarrowestHover = 4;
/// Characters of a value that is shown beside the pointer.
constexpr std::size_t kLongestHover = 200;

bool isBus(const Lane& lane, const LaneSegment& segment)
{
    return segment.look >= Look::Bus || !lane.signal.isDigital();
}

/// Horizontal lines of one style; those that touch are joined by an edge.
struct LevelPath
{
    std::string text;
    double end = -1;
    double level = 0;

    void add(double left, double right, double newLevel)
    {
        if (left != end) {
            text += fmt::format("M{} {}", number(left), number(newLevel));
        } else if (newLevel != level) {
            text += fmt::format("V{}", number(newLevel));
        }
        text += fmt::format("H{}", number(right));
        end = right;
        level = newLevel;
    }

    /// An edge to or from a line of another style.
    void addEdge(double place, double from, double to)
    {
        if (place != end || from != level) {
            text += fmt::format("M{} {}", number(place), number(from));
        }
        text += fmt::format("V{}", number(to));
        end = place;
        level = to;
    }
};

/// Draws one lane around the line y = 0.
class LaneDrawing
{
public:
    LaneDrawing(const Lane& lane, const Picture& picture, double width, double amplitude)
        : m_lane(lane), m_window(picture.window), m_timeText(picture.timeText), m_width(width),
          m_amplitude(amplitude)
    {}

    std::string draw();

private:
    double place(long long time) const
    {
        const double span = std::max(1.0, static_cast<double>(m_window.to - m_window.from));
        return static_cast<double>(time - m_window.from) / span * m_width;
    }
    void drawLevels();
    void drawPath(const char* style, const std::string& path);
    void drawBus(const LaneSegment& segment, bool lastOfAll);
    void drawBox(const LaneSegment& segment);
    void drawText(const LaneSegment& segment, double left, double right);
    void drawFirings();
    void drawCurve();
    std::string title(const LaneSegment& segment) const;
    void drawHover(double left, double right, const std::string& title);

    const Lane& m_lane;
    const TimeWindow& m_window;
    const TimeText& m_timeText;
    double m_width;
    double m_amplitude;
    std::string m_out;
};

std::string LaneDrawing::draw()
{
    for (const LaneSegment& segment : m_lane.segments) {
        switch (segment.look) {
        case Look::Blank:
        case Look::Low:
        case Look::High:
        case Look::WeakLow:
        case Look::WeakHigh:
        case Look::HighImpedance:
            break;
        case Look::Dense:
            drawBox(segment);
            break;
        case Look::Unknown:
        case Look::Uninitialized:
        case Look::Weak:
        case Look::DontCare:
        case Look::Bus:
        case Look::BusFloating:
        case Look::BusInPart:
            if (m_lane.isCurve() && std::isfinite(segment.number) && segment.look >= Look::Bus) {
                break;
            }
            if (isBus(m_lane, segment)) {
                drawBus(segment, &segment == &m_lane.segments.back());
            } else {
                drawBox(segment);
            }
            break;
        }
    }
    drawLevels();
    drawCurve();
    drawFirings();
    return std::move(m_out);
}

/// All levels of a lane as one path a style, with the edges between neighbours.
void LaneDrawing::drawLevels()
{
    LevelPath strong;
    LevelPath weak;
    LevelPath floating;
    std::string high;
    LevelPath* last = nullptr;
    for (const LaneSegment& segment : m_lane.segments) {
        const double left = place(segment.start);
        const double right = place(segment.end);
        const auto add = [&](LevelPath& path, double level) {
            if (last != nullptr && last != &path && last->end == left) {
                LevelPath& edges = &path == &strong || last == &strong ? strong : weak;
                const bool isStep = last->level != level;
                // Where nothing but the strength changes, a tick says when.
                edges.addEdge(left, isStep ? last->level : level - kTick,
                              isStep ? level : level + kTick);
            }
            path.add(left, right, level);
            last = &path;
        };
        switch (segment.look) {
        case Look::High:
            high += fmt::format("M{} {}H{}V{}H{}Z", number(left), number(-m_amplitude),
                                number(right), number(m_amplitude), number(left));
            add(strong, -m_amplitude);
            break;
        case Look::Low:
            add(strong, m_amplitude);
            break;
        case Look::WeakHigh:
            add(weak, -m_amplitude);
            break;
        case Look::WeakLow:
            add(weak, m_amplitude);
            break;
        case Look::HighImpedance:
            add(floating, 0);
            break;
        default:
            last = nullptr;
            break;
        }
    }
    drawPath("hi", high);
    drawPath("wk", weak.text);
    drawPath("hz", floating.text);
    drawPath("lv", strong.text);
    for (const LaneSegment& segment : m_lane.segments) {
        const bool isLevel = segment.look == Look::Low || segment.look == Look::High ||
                             segment.look == Look::WeakLow || segment.look == Look::WeakHigh ||
                             segment.look == Look::HighImpedance;
        if (isLevel) {
            drawHover(place(segment.start), place(segment.end), title(segment));
        }
    }
}

/// What stands beside the pointer: the value, and from when to when it holds.
std::string LaneDrawing::title(const LaneSegment& segment) const
{
    std::string value;
    if (segment.look == Look::Dense) {
        value = "many changes";
    } else if (m_lane.isCurve() && segment.lowest < segment.highest) {
        value = fmt::format("{} to {}", segment.lowest, segment.highest);
    } else if (segment.look < Look::Bus && m_lane.signal.isDigital()) {
        value = std::string(1, letterOf(segment.look));
    } else {
        value = cutEnd(segment.letters.empty() ? segment.text : segment.letters, kLongestHover);
    }
    return fmt::format("<title>{}{}{} – {}</title>", escapeXml(value), value.empty() ? "" : "  ",
                       escapeXml(m_timeText.format(segment.start)),
                       escapeXml(m_timeText.format(segment.end)));
}

/// An area that shows nothing but its title.
void LaneDrawing::drawHover(double left, double right, const std::string& title)
{
    if (right - left >= kNarrowestHover) {
        m_out += fmt::format("<path class=\"ho\" d=\"M{} {}H{}V{}H{}Z\">{}</path>\n", number(left),
                             number(-m_amplitude), number(right), number(m_amplitude), number(left),
                             title);
    }
}

/// Between its lowest number at the bottom and its highest at the top.
void LaneDrawing::drawCurve()
{
    double lowest = 0;
    double highest = 0;
    if (!m_lane.isCurve() || !m_lane.getRange(lowest, highest)) {
        return;
    }
    const double span = highest - lowest;
    const auto level = [&](double value) {
        // Halved first: the range of a double may be twice what one can hold.
        const double part = span > 0 ? (value / 2 - lowest / 2) / (highest / 2 - lowest / 2) : 0.5;
        return number(m_amplitude - 2 * m_amplitude * part);
    };
    std::string path;
    bool isOpen = false;
    for (const LaneSegment& segment : m_lane.segments) {
        if (segment.look < Look::Bus || !std::isfinite(segment.number)) {
            isOpen = false;
            continue;
        }
        const std::string left = number(place(segment.start));
        const bool isLine = m_lane.signal.curve == Curve::Line && segment.startsHere;
        if (!isOpen) {
            path += fmt::format("M{} {}", left, level(segment.lowest));
        } else if (isLine) {
            path += fmt::format("L{} {}", left, level(segment.lowest));
        } else {
            path += fmt::format("H{}V{}", left, level(segment.lowest));
        }
        if (segment.lowest < segment.highest) {
            path += fmt::format("V{}V{}", level(segment.highest), level(segment.number));
        }
        if (m_lane.signal.curve != Curve::Line || &segment == &m_lane.segments.back()) {
            path += fmt::format("H{}", number(place(segment.end)));
        }
        isOpen = true;
    }
    drawPath("cu", path);
    for (const LaneSegment& segment : m_lane.segments) {
        if (segment.look >= Look::Bus && std::isfinite(segment.number)) {
            drawHover(place(segment.start), place(segment.end), title(segment));
        }
    }
}

void LaneDrawing::drawPath(const char* style, const std::string& path)
{
    if (!path.empty()) {
        m_out += fmt::format("<path class=\"{}\" d=\"{}\"/>\n", style, path);
    }
}

/// A hexagon; its ends stay open where the value goes on outside of the window.
void LaneDrawing::drawBus(const LaneSegment& segment, bool lastOfAll)
{
    const double left = place(segment.start);
    const double right = place(segment.end);
    const double slant = std::min(kSlant, (right - left) / 2);
    const std::string leftEnd =
        segment.startsHere ? fmt::format("H{}L{} 0L{} {}", number(left + slant), number(left),
                                         number(left + slant), number(-m_amplitude))
                           : fmt::format("H{}V{}", number(left), number(-m_amplitude));
    const char* const style = busStyle(segment.look);
    const bool hasTitle = right - left >= kNarrowestHover;
    m_out += hasTitle ? "<g>" + title(segment) : std::string();
    if (!lastOfAll) {
        drawPath(style, fmt::format("M{} {}{}H{}L{} 0Z", number(right - slant), number(m_amplitude),
                                    leftEnd, number(right - slant), number(right)));
    } else if (segment.startsHere) {
        drawPath(style, fmt::format("M{} {}{}H{}", number(right), number(m_amplitude), leftEnd,
                                    number(right)));
    } else {
        m_out += fmt::format("<rect class=\"{}\" stroke-dasharray=\"{} {}\" x=\"{}\" y=\"{}\" "
                             "width=\"{}\" height=\"{}\"/>\n",
                             style, number(right - left), number(2 * m_amplitude), number(left),
                             number(-m_amplitude), number(right - left), number(2 * m_amplitude));
    }
    drawText(segment, left, right);
    m_out += hasTitle ? "</g>\n" : "";
}

void LaneDrawing::drawBox(const LaneSegment& segment)
{
    const double left = place(segment.start);
    const double right = std::max(place(segment.end), left + 1);
    const bool hasTitle = right - left >= kNarrowestHover;
    m_out += fmt::format("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"{}\n",
                         boxStyle(segment.look, m_lane.signal.isDigital()), number(left),
                         number(-m_amplitude), number(right - left), number(2 * m_amplitude),
                         hasTitle ? ">" + title(segment) + "</rect>" : "/>");
}

void LaneDrawing::drawText(const LaneSegment& segment, double left, double right)
{
    const double room = right - left - 2 * kSvgTextMargin;
    if (segment.text.empty() || room < kSvgValueCharacter) {
        return;
    }
    const std::string text = fitText(segment, static_cast<std::size_t>(room / kSvgValueCharacter));
    if (text.empty()) {
        return;
    }
    m_out += fmt::format("<text class=\"{}\" x=\"{}\" y=\"3.5\">{}</text>\n",
                         textStyle(segment.look), number((left + right) / 2), escapeXml(text));
}

void LaneDrawing::drawFirings()
{
    std::string path;
    double last = -2;
    for (const long long time : m_lane.firings) {
        const double x = place(time);
        // Arrows that would lie upon each other are one.
        if (x - last < 1) {
            continue;
        }
        last = x;
        path += fmt::format("M{0} {1}V{2}M{3} {4}L{0} {2}L{5} {4}", number(x), number(m_amplitude),
                            number(-m_amplitude), number(x - 3), number(-m_amplitude + 5),
                            number(x + 3));
    }
    drawPath("ev", path);
    last = -2 * kNarrowestHover;
    for (const long long time : m_lane.firings) {
        const double x = place(time);
        if (x - last >= kNarrowestHover) {
            drawHover(x - kNarrowestHover / 2, x + kNarrowestHover / 2,
                      fmt::format("<title>fires at {}</title>", m_timeText.format(time)));
            last = x;
        }
    }
}

} // namespace

std::string drawSvgLane(const Lane& lane, const Picture& picture, double width, double amplitude)
{
    return LaneDrawing(lane, picture, width, amplitude).draw();
}

} // namespace tracewell
