// SPDX-License-Identifier: BSD-3-Clause

#include "stats/HeatPicture.h"

#include "draw/SvgStyle.h"
#include "draw/SvgText.h"
#include "draw/TimeRuler.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tracewell {

namespace {

constexpr double kMargin = 12;
constexpr double kTitleHeight = 34;
constexpr double kRulerHeight = 24;
constexpr double kRowHeight = 16;
constexpr double kLegendHeight = 40;
constexpr double kCharacter = 7.25;
constexpr std::size_t kMostCharacters = 44;

/// From little to much; nothing is the page's own grey.
constexpr const char* kColours[] = {"#fde8c8", "#f9b98a", "#ea8168",
                                    "#c94a6c", "#8f2c7c", "#4a1d6e"};
constexpr std::size_t kSteps = std::size(kColours);
constexpr const char* kNothing = "#f3f5f7";

std::string shortened(const std::string& label)
{
    const std::size_t count = characterCount(label);
    if (count <= kMostCharacters) {
        return label;
    }
    // The end of a name tells more than its beginning.
    std::size_t at = label.size();
    for (std::size_t kept = 0; kept + 1 < kMostCharacters && at > 0;) {
        --at;
        kept += (static_cast<unsigned char>(label[at]) & 0xc0) != 0x80 ? 1 : 0;
    }
    return "…" + label.substr(at);
}

class HeatDrawing
{
public:
    HeatDrawing(const HeatPicture& picture, unsigned int width) : m_picture(picture), m_width(width)
    {
        for (const HeatRow& row : picture.rows) {
            for (const unsigned long long changes : row.changes) {
                m_most = std::max(m_most, changes);
            }
            m_names = std::max(m_names, std::min(characterCount(row.label), kMostCharacters));
        }
        m_left = 2 * kMargin + static_cast<double>(m_names) * kCharacter;
        m_top = kTitleHeight + kRulerHeight;
        m_bottom = m_top + kRowHeight * static_cast<double>(picture.rows.size());
        m_base = std::max(2.0, std::pow(static_cast<double>(m_most) + 1, 1.0 / kSteps));
    }

    std::string draw()
    {
        const double height =
            m_bottom + kLegendHeight + (m_picture.note.empty() ? 0 : kRowHeight) + kMargin;
        m_out = fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" "
                            "height=\"{1}\" viewBox=\"0 0 {0} {1}\">\n<title>{2}</title>\n",
                            svgNumber(m_width), svgNumber(height), escapeXml(m_picture.title));
        m_out += kSvgStyle;
        m_out += fmt::format("<rect class=\"page\" width=\"{}\" height=\"{}\"/>\n",
                             svgNumber(m_width), svgNumber(height));
        m_out +=
            fmt::format("<text class=\"title\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
                        svgNumber(kTitleHeight - 12), escapeXml(m_picture.title));
        m_out += fmt::format("<text class=\"range\" x=\"{}\" y=\"{}\">{} – {}</text>\n",
                             svgNumber(m_width - kMargin), svgNumber(kTitleHeight - 12),
                             escapeXml(m_picture.timeText.format(m_picture.window.from)),
                             escapeXml(m_picture.timeText.format(m_picture.window.to)));
        drawRuler();
        for (std::size_t i = 0; i < m_picture.rows.size(); ++i) {
            drawRow(m_picture.rows[i], m_top + kRowHeight * static_cast<double>(i));
        }
        drawLegend();
        if (!m_picture.note.empty()) {
            m_out += fmt::format(
                "<text class=\"note\" x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(kMargin),
                svgNumber(m_bottom + kLegendHeight + kRowHeight - 4), escapeXml(m_picture.note));
        }
        return m_out + "</svg>\n";
    }

private:
    double waveWidth() const { return m_width - m_left - kMargin; }

    double xOf(double slot) const
    {
        const double length = static_cast<double>(m_picture.window.to - m_picture.window.from) + 1;
        return m_left + std::min(1.0, slot * static_cast<double>(m_picture.slotLength) / length) *
                            waveWidth();
    }

    /// 0 for nothing, up to kSteps.
    std::size_t stepOf(unsigned long long changes) const
    {
        if (changes == 0) {
            return 0;
        }
        const double step = std::log(static_cast<double>(changes)) / std::log(m_base);
        return std::min(kSteps, static_cast<std::size_t>(step + 1e-9) + 1);
    }

    void drawRuler()
    {
        constexpr double kTickCharacter = 6;
        for (const RulerTick& tick :
             makeRuler(m_picture.window, m_picture.timeText, waveWidth(), kTickCharacter)) {
            const double x = m_left + tick.position * waveWidth();
            const double length = tick.label.empty() ? 3 : 6;
            m_out += fmt::format("<path class=\"ruler\" d=\"M{0} {1}V{2}\"/>\n", svgNumber(x),
                                 svgNumber(m_top - 2 - length), svgNumber(m_top - 2));
            if (!tick.label.empty()) {
                m_out += fmt::format("<text class=\"tick\" x=\"{}\" y=\"{}\">{}</text>\n",
                                     svgNumber(x), svgNumber(m_top - 11), escapeXml(tick.label));
            }
        }
    }

    /// Slots of one colour side by side are one rectangle.
    void drawRow(const HeatRow& row, double y)
    {
        m_out += fmt::format("<text x=\"{}\" y=\"{}\" text-anchor=\"end\"><title>{}</title>{}"
                             "</text>\n",
                             svgNumber(m_left - kMargin), svgNumber(y + kRowHeight - 4),
                             escapeXml(fmt::format("{}: {} changes", row.label, row.total)),
                             escapeXml(shortened(row.label)));
        m_out += fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"{}\"/>\n",
                             svgNumber(m_left), svgNumber(y + 1), svgNumber(waveWidth()),
                             svgNumber(kRowHeight - 2), kNothing);
        for (std::size_t first = 0; first < row.changes.size();) {
            const std::size_t step = stepOf(row.changes[first]);
            std::size_t end = first + 1;
            while (end < row.changes.size() && stepOf(row.changes[end]) == step) {
                ++end;
            }
            const double x = xOf(static_cast<double>(first));
            const double width = xOf(static_cast<double>(end)) - x;
            if (step > 0 && width > 0) {
                m_out += fmt::format(
                    "<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"{}\"/>\n",
                    svgNumber(x), svgNumber(y + 1), svgNumber(width), svgNumber(kRowHeight - 2),
                    kColours[step - 1]);
            }
            first = end;
        }
    }

    void drawLegend()
    {
        constexpr double kSwatch = 14;
        const double y = m_bottom + kMargin;
        double x = m_left;
        const auto swatch = [&](const char* colour, const std::string& text) {
            m_out += fmt::format(
                "<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"{}\"/>\n"
                "<text class=\"note\" x=\"{}\" y=\"{}\">{}</text>\n",
                svgNumber(x), svgNumber(y), svgNumber(kSwatch), svgNumber(kSwatch), colour,
                svgNumber(x + kSwatch + 5), svgNumber(y + kSwatch - 3), escapeXml(text));
            x += kSwatch + 18 + static_cast<double>(characterCount(text)) * 6.2;
        };
        swatch(kNothing, "0");
        unsigned long long least = 1;
        for (std::size_t step = 1; step <= kSteps && least <= m_most; ++step) {
            unsigned long long next = least + 1;
            const auto guess = static_cast<unsigned long long>(
                std::ceil(std::pow(m_base, static_cast<double>(step)) - 1e-6));
            next = std::max(next, guess);
            const bool isLast = step == kSteps || next > m_most;
            swatch(kColours[step - 1], isLast ? fmt::format("{} – {}", least, m_most)
                                       : next == least + 1
                                           ? fmt::format("{}", least)
                                           : fmt::format("{} – {}", least, next - 1));
            least = next;
            if (isLast) {
                break;
            }
        }
        m_out += fmt::format("<text class=\"note\" x=\"{}\" y=\"{}\">changes in {}</text>\n",
                             svgNumber(x), svgNumber(y + kSwatch - 3),
                             escapeXml(m_picture.timeText.format(m_picture.slotLength)));
    }

    const HeatPicture& m_picture;
    double m_width;
    unsigned long long m_most = 0;
    std::size_t m_names = 4;
    double m_left = 0;
    double m_top = 0;
    double m_bottom = 0;
    /// A step of colour stands for so many times the changes of the one before.
    double m_base = 2;
    std::string m_out;
};

} // namespace

std::string drawHeat(const HeatPicture& picture, unsigned int width)
{
    return HeatDrawing(picture, width).draw();
}

} // namespace tracewell
