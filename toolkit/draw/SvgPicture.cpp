// SPDX-License-Identifier: BSD-3-Clause

#include "draw/Picture.h"

#include "draw/LaneNames.h"
#include "draw/SvgLane.h"
#include "draw/SvgStyle.h"
#include "draw/SvgText.h"
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
constexpr double kNoteHeight = 24;
constexpr double kCurveHeight = 56;
constexpr double kHeadingHeight = 22;
/// From the middle of a lane to its high and its low level.
constexpr double kAmplitude = 8.5;
constexpr double kCurveMargin = 5;
constexpr double kNameCharacter = 7.25;
constexpr double kRulerCharacter = 6.05;
/// What the first label of the ruler takes of the names' column.
constexpr double kTickRoom = 26;
constexpr double kLimitCharacter = 5.5;
constexpr double kLimitAboveName = 9;
/// Of fonts without a fixed width, the mean of capital letters: most texts are narrower.
constexpr double kTitleCharacter = 8.8;
constexpr double kSmallCharacter = 7;
constexpr std::size_t kShortestNames = 10;
constexpr std::size_t kLongestNames = 38;
constexpr double kNarrowestWave = 100;
/// Of a picture, what names may take.
constexpr double kNamesShare = 0.4;

std::size_t nameCharacters(const std::vector<Signal>& signals, unsigned int width)
{
    const auto most = static_cast<std::size_t>(width * kNamesShare / kNameCharacter);
    return std::min(std::max(nameLanes(signals).longest(), kShortestNames),
                    std::clamp(most, kShortestNames, kLongestNames));
}

double nameWidth(const std::vector<Signal>& signals, unsigned int width)
{
    return static_cast<double>(nameCharacters(signals, width)) * kNameCharacter + 2 * kMargin;
}

double waveWidth(const std::vector<Signal>& signals, unsigned int width)
{
    return std::max(kNarrowestWave,
                    static_cast<double>(width) - nameWidth(signals, width) - kMargin);
}

double heightOf(const Signal& signal)
{
    return signal.curve == Curve::None ? kLaneHeight : kCurveHeight;
}

std::size_t fittingIn(double width, double character)
{
    return static_cast<std::size_t>(std::max(width, 0.0) / character);
}

/// Puts the parts of the picture in their places.
class SvgDrawing
{
public:
    SvgDrawing(const Picture& picture, unsigned int width);
    std::string draw();

private:
    double lanesTop() const { return kTitleHeight + kRulerHeight; }
    double lanesBottom() const { return m_bottom; }
    void drawStart();
    void drawTitle();
    void drawStripes();
    void drawRuler();
    void drawHeading(const std::string& scope, double top);
    void drawName(const Lane& lane, const LaneName& name, double middle);
    void drawLimits(const Lane& lane, double middle);
    void drawNote();

    const Picture& m_picture;
    double m_width;
    LaneNames m_names;
    std::size_t m_nameCharacters;
    /// Where each lane has its top, below its heading if it has one.
    std::vector<double> m_tops;
    double m_bottom;
    double m_left;
    double m_waveWidth;
    std::string m_out;
};

SvgDrawing::SvgDrawing(const Picture& picture, unsigned int width)
    : m_picture(picture), m_bottom(lanesTop())
{
    const std::vector<Signal> signals = picture.signals();
    m_names = nameLanes(signals);
    m_nameCharacters = nameCharacters(signals, width);
    m_left = nameWidth(signals, width);
    m_waveWidth = waveWidth(signals, width);
    m_width = m_left + m_waveWidth + kMargin;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        m_bottom += m_names.lanes[i].heading.empty() ? 0 : kHeadingHeight;
        m_tops.push_back(m_bottom);
        m_bottom += heightOf(signals[i]);
    }
}

std::string SvgDrawing::draw()
{
    drawStart();
    drawTitle();
    drawStripes();
    drawRuler();
    for (std::size_t i = 0; i < m_picture.lanes.size(); ++i) {
        const Lane& lane = m_picture.lanes[i];
        const double height = heightOf(lane.signal);
        const double middle = m_tops[i] + height / 2;
        if (!m_names.lanes[i].heading.empty()) {
            drawHeading(m_names.lanes[i].heading, m_tops[i] - kHeadingHeight);
        }
        drawName(lane, m_names.lanes[i], middle);
        m_out += fmt::format("<g transform=\"translate({} {})\">\n", svgNumber(m_left),
                             svgNumber(middle));
        m_out += drawSvgLane(lane, m_picture, m_waveWidth,
                             lane.isCurve() ? height / 2 - kCurveMargin : kAmplitude);
        m_out += "</g>\n";
        drawLimits(lane, middle);
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
                         svgNumber(m_width), svgNumber(height));
    m_out += fmt::format("<title>{}</title>\n", escapeXml(m_picture.title));
    m_out += kSvgStyle;
    m_out += fmt::format("<rect class=\"page\" width=\"{}\" height=\"{}\"/>\n", svgNumber(m_width),
                         svgNumber(height));
}

void SvgDrawing::drawTitle()
{
    const double baseline = kTitleHeight - 12;
    const std::string range = m_picture.rangeText();
    const double room =
        m_width - 3 * kMargin - static_cast<double>(characterCount(range)) * kSmallCharacter;
    m_out += fmt::format(
        "<text class=\"title\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
        svgNumber(baseline),
        escapeXml(cutStart(printable(m_picture.title), fittingIn(room, kTitleCharacter))));
    m_out += fmt::format("<text class=\"range\" x=\"{}\" y=\"{}\">{}</text>\n",
                         svgNumber(m_left + m_waveWidth), svgNumber(baseline), escapeXml(range));
}

void SvgDrawing::drawStripes()
{
    std::string path;
    for (std::size_t i = 0; i < m_tops.size(); i += 2) {
        path += fmt::format("M0 {}H{}v{}H0Z", svgNumber(m_tops[i]), svgNumber(m_width),
                            svgNumber(heightOf(m_picture.lanes[i].signal)));
    }
    if (!path.empty()) {
        m_out += fmt::format("<path class=\"stripe\" d=\"{}\"/>\n", path);
    }
    if (!m_names.common.empty()) {
        m_out +=
            fmt::format("<text class=\"scope\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
                        svgNumber(lanesTop() - 8),
                        escapeXml(cutStart(m_names.common, fittingIn(m_left - kMargin - kTickRoom,
                                                                     kNameCharacter))));
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
        ticks += fmt::format("M{} {}v{}", svgNumber(x), svgNumber(lanesTop()), major ? "-6" : "-3");
        if (!major) {
            continue;
        }
        grid +=
            fmt::format("M{} {}V{}", svgNumber(x), svgNumber(lanesTop()), svgNumber(lanesBottom()));
        const double half = static_cast<double>(tick.label.size()) * kRulerCharacter / 2;
        // The labels at both ends stay within the picture.
        const double middle = std::clamp(x, half + 2, std::max(half + 2, m_width - half - 2));
        if (middle - half < free) {
            continue;
        }
        free = middle + half + kRulerCharacter;
        labels += fmt::format("<text class=\"tick\" x=\"{}\" y=\"{}\">{}</text>\n",
                              svgNumber(middle), svgNumber(lanesTop() - 10), tick.label);
    }
    const std::string base = fmt::format("M{} {}H{}", svgNumber(m_left), svgNumber(lanesTop()),
                                         svgNumber(m_left + m_waveWidth));
    m_out += fmt::format("<path class=\"grid\" d=\"{}\"/>\n", grid);
    m_out += fmt::format("<path class=\"ruler\" d=\"{}{}\"/>\n", base, ticks);
    m_out += labels;
}

/// The lanes' own scope, on a line that shows where its part begins.
void SvgDrawing::drawHeading(const std::string& scope, double top)
{
    m_out +=
        fmt::format("<path class=\"part\" d=\"M0 {0}H{1}V{2}H0Z\"/>\n"
                    "<text class=\"heading\" x=\"{3}\" y=\"{4}\">{5}</text>\n",
                    svgNumber(top), svgNumber(m_width), svgNumber(top + kHeadingHeight),
                    svgNumber(kMargin), svgNumber(top + 15),
                    escapeXml(cutStart(scope, fittingIn(m_width - 2 * kMargin, kNameCharacter))));
}

void SvgDrawing::drawName(const Lane& lane, const LaneName& name, double middle)
{
    const std::string full = name.scope + name.name;
    const std::string shown = cutStart(full, m_nameCharacters);
    m_out += fmt::format("<text class=\"name\" x=\"{}\" y=\"{}\"><title>{} ({})</title>",
                         svgNumber(kMargin), svgNumber(middle + 4), escapeXml(lane.signal.label),
                         escapeXml(lane.signal.kind));
    // The scopes below the heading stand back.
    const std::size_t scope = shown == full ? name.scope.size() : 0;
    if (scope > 0) {
        m_out += fmt::format("<tspan class=\"scope\">{}</tspan>", escapeXml(name.scope));
    }
    m_out += escapeXml(shown.substr(scope)) + "</text>\n";
}

/// What the top and the bottom of a curve stand for, where the names leave room for it.
void SvgDrawing::drawLimits(const Lane& lane, double middle)
{
    const CurveLimits limits = limitsOf(lane, fittingIn(m_left - 2 * kMargin, kLimitCharacter));
    const auto draw = [&](const std::string& limit, double y) {
        if (!limit.empty()) {
            m_out += fmt::format("<text class=\"limit\" x=\"{}\" y=\"{}\">{}</text>\n",
                                 svgNumber(m_left - 5), svgNumber(y), limit);
        }
    };
    const bool isConstant = limits.highest.empty();
    draw(limits.highest, middle - kCurveHeight / 2 + kCurveMargin + 6);
    // The line of a constant is in the middle, and so is the name.
    draw(limits.lowest,
         isConstant ? middle - kLimitAboveName : middle + kCurveHeight / 2 - kCurveMargin);
}

void SvgDrawing::drawNote()
{
    if (!m_picture.note.empty()) {
        m_out += fmt::format(
            "<text class=\"note\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
            svgNumber(lanesBottom() + 16),
            escapeXml(cutEnd(m_picture.note, fittingIn(m_width - 2 * kMargin, kSmallCharacter))));
    }
}

} // namespace

unsigned int svgWaveWidth(const std::vector<Signal>& signals, unsigned int width)
{
    return static_cast<unsigned int>(std::lround(waveWidth(signals, width)));
}

PictureScale svgScale(const std::vector<Signal>& signals, unsigned int width)
{
    constexpr double kNarrowestLevel = 3;
    return {waveWidth(signals, width), kSvgValueCharacter, 2 * kSvgTextMargin, kNarrowestLevel};
}

std::string drawSvg(const Picture& picture, unsigned int width)
{
    return SvgDrawing(picture, width).draw();
}

} // namespace tracewell
