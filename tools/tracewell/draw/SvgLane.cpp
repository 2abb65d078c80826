#include "draw/SvgLane.h"

#include "draw/SvgStyle.h"
#include "draw/SvgText.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tracewell {

namespace {

/// From the middle of a lane to its high and its low level, in pixels.
constexpr double kAmplitude = 8.5;
constexpr double kValueCharacter = 6.6;
/// Half of a bus's crossing.
constexpr double kSlant = 3;
constexpr double kTextMargin = 3;

std::string number(double value)
{
    return svgNumber(value);
}

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
};

/// Draws one lane around the line y = 0.
class LaneDrawing
{
public:
    LaneDrawing(const Lane& lane, const TimeWindow& window, double width)
        : m_lane(lane), m_window(window), m_width(width)
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

    const Lane& m_lane;
    const TimeWindow& m_window;
    double m_width;
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
        case Look::BusInPart:
            if (isBus(m_lane, segment)) {
                drawBus(segment, &segment == &m_lane.segments.back());
            } else {
                drawBox(segment);
            }
            break;
        }
    }
    drawLevels();
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
    for (const LaneSegment& segment : m_lane.segments) {
        const double left = place(segment.start);
        const double right = place(segment.end);
        switch (segment.look) {
        case Look::High:
            high += fmt::format("M{} {}H{}V{}H{}Z", number(left), number(-kAmplitude),
                                number(right), number(kAmplitude), number(left));
            strong.add(left, right, -kAmplitude);
            break;
        case Look::Low:
            strong.add(left, right, kAmplitude);
            break;
        case Look::WeakHigh:
            weak.add(left, right, -kAmplitude);
            break;
        case Look::WeakLow:
            weak.add(left, right, kAmplitude);
            break;
        case Look::HighImpedance:
            floating.add(left, right, 0);
            break;
        default:
            break;
        }
    }
    drawPath("hi", high);
    drawPath("wk", weak.text);
    drawPath("hz", floating.text);
    drawPath("lv", strong.text);
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
                                         number(left + slant), number(-kAmplitude))
                           : fmt::format("H{}V{}", number(left), number(-kAmplitude));
    const char* const style = busStyle(segment.look);
    if (!lastOfAll) {
        drawPath(style, fmt::format("M{} {}{}H{}L{} 0Z", number(right - slant), number(kAmplitude),
                                    leftEnd, number(right - slant), number(right)));
    } else if (segment.startsHere) {
        drawPath(style, fmt::format("M{} {}{}H{}", number(right), number(kAmplitude), leftEnd,
                                    number(right)));
    } else {
        m_out += fmt::format("<rect class=\"{}\" stroke-dasharray=\"{} {}\" x=\"{}\" y=\"{}\" "
                             "width=\"{}\" height=\"{}\"/>\n",
                             style, number(right - left), number(2 * kAmplitude), number(left),
                             number(-kAmplitude), number(right - left), number(2 * kAmplitude));
    }
    drawText(segment, left, right);
}

void LaneDrawing::drawBox(const LaneSegment& segment)
{
    const double left = place(segment.start);
    const double right = std::max(place(segment.end), left + 1);
    m_out += fmt::format("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>\n",
                         boxStyle(segment.look, m_lane.signal.isDigital()), number(left),
                         number(-kAmplitude), number(right - left), number(2 * kAmplitude));
}

void LaneDrawing::drawText(const LaneSegment& segment, double left, double right)
{
    const double room = right - left - 2 * kTextMargin;
    if (segment.text.empty() || room < kValueCharacter) {
        return;
    }
    const auto characters = static_cast<std::size_t>(room / kValueCharacter);
    if (characters < 3 && characterCount(segment.text) > characters) {
        return;
    }
    const std::string text = cutEnd(segment.text, characters);
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
        path +=
            fmt::format("M{0} {1}V{2}M{3} {4}L{0} {2}L{5} {4}", number(x), number(kAmplitude),
                        number(-kAmplitude), number(x - 3), number(-kAmplitude + 5), number(x + 3));
    }
    drawPath("ev", path);
}

} // namespace

std::string drawSvgLane(const Lane& lane, const TimeWindow& window, double width)
{
    return LaneDrawing(lane, window, width).draw();
}

} // namespace tracewell
