#include "draw/Picture.h"

#include "draw/SvgStyle.h"
#include "draw/TimeRuler.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace tracewell {

namespace {

constexpr double kMargin = 12;
constexpr double kTitleHeight = 34;
constexpr double kRulerHeight = 24;
constexpr double kLaneHeight = 28;
/// From the middle of a lane to its high and its low level.
constexpr double kAmplitude = 8.5;
constexpr double kNoteHeight = 24;
constexpr double kNameCharacter = 7.2;
constexpr double kValueCharacter = 6.6;
constexpr double kRulerCharacter = 6.0;
constexpr std::size_t kShortestNames = 10;
constexpr std::size_t kLongestNames = 38;
/// Half of a bus's crossing.
constexpr double kSlant = 3;
constexpr double kTextMargin = 3;
constexpr double kNarrowestWave = 100;

std::string escape(std::string_view text)
{
    std::string result;
    for (const char c : printable(text)) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

/// A coordinate with at most two decimals.
std::string number(double value)
{
    std::string text = fmt::format("{:.2f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

std::size_t nameCharacters(const std::vector<Signal>& signals)
{
    const std::size_t common = commonScope(signals).size();
    std::size_t longest = kShortestNames;
    for (const Signal& signal : signals) {
        longest = std::max(longest, characterCount(signal.label.substr(common)));
    }
    return std::min(longest, kLongestNames);
}

double nameWidth(const std::vector<Signal>& signals)
{
    return static_cast<double>(nameCharacters(signals)) * kNameCharacter + 2 * kMargin;
}

double waveWidth(const std::vector<Signal>& signals, unsigned int width)
{
    return std::max(kNarrowestWave, static_cast<double>(width) - nameWidth(signals) - kMargin);
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
    LaneDrawing(std::string& out, const Lane& lane, const TimeWindow& window, double width)
        : m_out(out), m_lane(lane), m_window(window), m_width(width)
    {}

    void draw();

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

    std::string& m_out;
    const Lane& m_lane;
    const TimeWindow& m_window;
    double m_width;
};

void LaneDrawing::draw()
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
                         textStyle(segment.look), number((left + right) / 2), escape(text));
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

/// Puts the parts of the picture in their places.
class SvgDrawing
{
public:
    SvgDrawing(const Picture& picture, unsigned int width);
    std::string draw();

private:
    double lanesTop() const { return kTitleHeight + kRulerHeight; }
    double lanesBottom() const
    {
        return lanesTop() + kLaneHeight * static_cast<double>(m_picture.lanes.size());
    }
    void drawStart();
    void drawTitle();
    void drawStripes();
    void drawRuler();
    void drawName(const Signal& signal, double middle);
    void drawNote();

    const Picture& m_picture;
    double m_width;
    std::vector<Signal> m_signals;
    std::string m_scope;
    double m_left;
    double m_waveWidth;
    std::string m_out;
};

SvgDrawing::SvgDrawing(const Picture& picture, unsigned int width) : m_picture(picture)
{
    for (const Lane& lane : picture.lanes) {
        m_signals.push_back(lane.signal);
    }
    m_scope = commonScope(m_signals);
    m_left = nameWidth(m_signals);
    m_waveWidth = waveWidth(m_signals, width);
    m_width = m_left + m_waveWidth + kMargin;
}

std::string SvgDrawing::draw()
{
    drawStart();
    drawTitle();
    drawStripes();
    drawRuler();
    for (std::size_t i = 0; i < m_picture.lanes.size(); ++i) {
        const double middle = lanesTop() + kLaneHeight * (static_cast<double>(i) + 0.5);
        drawName(m_signals[i], middle);
        m_out +=
            fmt::format("<g transform=\"translate({} {})\">\n", number(m_left), number(middle));
        LaneDrawing(m_out, m_picture.lanes[i], m_picture.window, m_waveWidth).draw();
        m_out += "</g>\n";
    }
    drawNote();
    m_out += "</svg>\n";
    return m_out;
}

void SvgDrawing::drawStart()
{
    const double height = lanesBottom() + (m_picture.note.empty() ? kMargin : kNoteHeight);
    m_out += fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" "
                         "viewBox=\"0 0 {0} {1}\">\n",
                         number(m_width), number(height));
    m_out += fmt::format("<title>{}</title>\n", escape(m_picture.title));
    m_out += kSvgStyle;
    m_out += fmt::format("<rect class=\"page\" width=\"{}\" height=\"{}\"/>\n", number(m_width),
                         number(height));
}

void SvgDrawing::drawTitle()
{
    const double baseline = kTitleHeight - 12;
    m_out += fmt::format("<text class=\"title\" x=\"{}\" y=\"{}\">{}</text>\n", number(kMargin),
                         number(baseline), escape(m_picture.title));
    m_out += fmt::format("<text class=\"range\" x=\"{}\" y=\"{}\">{} – {}</text>\n",
                         number(m_left + m_waveWidth), number(baseline),
                         m_picture.timeText.format(m_picture.window.from),
                         m_picture.timeText.format(m_picture.window.to));
}

void SvgDrawing::drawStripes()
{
    std::string path;
    for (std::size_t i = 0; i < m_picture.lanes.size(); i += 2) {
        const double top = lanesTop() + kLaneHeight * static_cast<double>(i);
        path += fmt::format("M0 {}H{}v{}H0Z", number(top), number(m_width), number(kLaneHeight));
    }
    if (!path.empty()) {
        m_out += fmt::format("<path class=\"stripe\" d=\"{}\"/>\n", path);
    }
    if (!m_scope.empty()) {
        m_out += fmt::format(
            "<text class=\"scope\" x=\"{}\" y=\"{}\">{}</text>\n", number(kMargin),
            number(lanesTop() - 8),
            escape(cutStart(m_scope.substr(0, m_scope.size() - 1), nameCharacters(m_signals))));
    }
}

void SvgDrawing::drawRuler()
{
    std::string grid;
    std::string ticks;
    std::string labels;
    double free = -1;
    for (const RulerTick& tick :
         makeRuler(m_picture.window, m_picture.timeText, m_waveWidth, kRulerCharacter)) {
        const double x = m_left + tick.position * m_waveWidth;
        const bool major = !tick.label.empty();
        ticks += fmt::format("M{} {}v{}", number(x), number(lanesTop()), major ? "-6" : "-3");
        if (!major) {
            continue;
        }
        grid += fmt::format("M{} {}V{}", number(x), number(lanesTop()), number(lanesBottom()));
        const double half = static_cast<double>(tick.label.size()) * kRulerCharacter / 2;
        // The labels at both ends stay within the picture.
        const double middle = std::clamp(x, half + 2, std::max(half + 2, m_width - half - 2));
        if (middle - half < free) {
            continue;
        }
        free = middle + half + kRulerCharacter;
        labels += fmt::format("<text class=\"tick\" x=\"{}\" y=\"{}\">{}</text>\n", number(middle),
                              number(lanesTop() - 10), tick.label);
    }
    const std::string base =
        fmt::format("M{} {}H{}", number(m_left), number(lanesTop()), number(m_left + m_waveWidth));
    m_out += fmt::format("<path class=\"grid\" d=\"{}\"/>\n", grid);
    m_out += fmt::format("<path class=\"ruler\" d=\"{}{}\"/>\n", base, ticks);
    m_out += labels;
}

void SvgDrawing::drawName(const Signal& signal, double middle)
{
    const std::string full = signal.label.substr(m_scope.size());
    const std::string shown = cutStart(full, nameCharacters(m_signals));
    m_out +=
        fmt::format("<text class=\"name\" x=\"{}\" y=\"{}\"><title>{} ({})</title>",
                    number(kMargin), number(middle + 4), escape(signal.label), escape(signal.kind));
    // The scopes below the common one stand back.
    const std::size_t scope = shown == full ? signal.scope.size() - m_scope.size() : 0;
    m_out += fmt::format("<tspan class=\"scope\">{}</tspan>{}</text>\n",
                         escape(full.substr(0, scope)), escape(shown.substr(scope)));
}

void SvgDrawing::drawNote()
{
    if (!m_picture.note.empty()) {
        m_out += fmt::format("<text class=\"note\" x=\"{}\" y=\"{}\">{}</text>\n", number(kMargin),
                             number(lanesBottom() + 16), escape(m_picture.note));
    }
}

} // namespace

unsigned int svgWaveWidth(const std::vector<Signal>& signals, unsigned int width)
{
    return static_cast<unsigned int>(std::lround(waveWidth(signals, width)));
}

std::string drawSvg(const Picture& picture, unsigned int width)
{
    return SvgDrawing(picture, width).draw();
}

} // namespace tracewell
