#include "draw/Picture.h"

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
constexpr double kNameCharacter = 7.2;
constexpr double kRulerCharacter = 6.0;
constexpr std::size_t kShortestNames = 10;
constexpr std::size_t kLongestNames = 38;
constexpr double kNarrowestWave = 100;

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
        m_out += fmt::format("<g transform=\"translate({} {})\">\n", svgNumber(m_left),
                             svgNumber(middle));
        m_out += drawSvgLane(m_picture.lanes[i], m_picture.window, m_waveWidth);
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
                         svgNumber(m_width), svgNumber(height));
    m_out += fmt::format("<title>{}</title>\n", escapeXml(m_picture.title));
    m_out += kSvgStyle;
    m_out += fmt::format("<rect class=\"page\" width=\"{}\" height=\"{}\"/>\n", svgNumber(m_width),
                         svgNumber(height));
}

void SvgDrawing::drawTitle()
{
    const double baseline = kTitleHeight - 12;
    m_out += fmt::format("<text class=\"title\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
                         svgNumber(baseline), escapeXml(m_picture.title));
    m_out += fmt::format("<text class=\"range\" x=\"{}\" y=\"{}\">{} – {}</text>\n",
                         svgNumber(m_left + m_waveWidth), svgNumber(baseline),
                         m_picture.timeText.format(m_picture.window.from),
                         m_picture.timeText.format(m_picture.window.to));
}

void SvgDrawing::drawStripes()
{
    std::string path;
    for (std::size_t i = 0; i < m_picture.lanes.size(); i += 2) {
        const double top = lanesTop() + kLaneHeight * static_cast<double>(i);
        path += fmt::format("M0 {}H{}v{}H0Z", svgNumber(top), svgNumber(m_width),
                            svgNumber(kLaneHeight));
    }
    if (!path.empty()) {
        m_out += fmt::format("<path class=\"stripe\" d=\"{}\"/>\n", path);
    }
    if (!m_scope.empty()) {
        m_out += fmt::format(
            "<text class=\"scope\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
            svgNumber(lanesTop() - 8),
            escapeXml(cutStart(m_scope.substr(0, m_scope.size() - 1), nameCharacters(m_signals))));
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

void SvgDrawing::drawName(const Signal& signal, double middle)
{
    const std::string full = signal.label.substr(m_scope.size());
    const std::string shown = cutStart(full, nameCharacters(m_signals));
    m_out += fmt::format("<text class=\"name\" x=\"{}\" y=\"{}\"><title>{} ({})</title>",
                         svgNumber(kMargin), svgNumber(middle + 4), escapeXml(signal.label),
                         escapeXml(signal.kind));
    // The scopes below the common one stand back.
    const std::size_t scope = shown == full ? signal.scope.size() - m_scope.size() : 0;
    m_out += fmt::format("<tspan class=\"scope\">{}</tspan>{}</text>\n",
                         escapeXml(full.substr(0, scope)), escapeXml(shown.substr(scope)));
}

void SvgDrawing::drawNote()
{
    if (!m_picture.note.empty()) {
        m_out +=
            fmt::format("<text class=\"note\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
                        svgNumber(lanesBottom() + 16), escapeXml(m_picture.note));
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
