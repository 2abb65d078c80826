// SPDX-License-Identifier: BSD-3-Clause

#include "draw/Lane.h"

#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

namespace tracewell {

namespace {

Look lookOfLetter(char letter)
{
    switch (letter) {
    case '0':
        return Look::Low;
    case '1':
        return Look::High;
    case 'z':
        return Look::HighImpedance;
    case 'u':
        return Look::Uninitialized;
    case 'w':
        return Look::Weak;
    case 'l':
        return Look::WeakLow;
    case 'h':
        return Look::WeakHigh;
    case '-':
        return Look::DontCare;
    default:
        return Look::Unknown;
    }
}

Look lookOfBus(std::string_view letters)
{
    const auto isAllOf = [&](const char* some) {
        return letters.find_first_not_of(some) == std::string_view::npos;
    };
    if (letters.empty() || isAllOf("01lh")) {
        return Look::Bus;
    }
    if (letters.find_first_not_of(letters[0]) == std::string_view::npos) {
        return lookOfLetter(letters[0]);
    }
    return isAllOf("01lhz") ? Look::BusFloating : Look::BusInPart;
}

/// 1.2e+20 as 1.2e20, 1e-07 as 1e-7.
void compactExponent(std::string& number)
{
    std::size_t at = number.find('e');
    if (at != std::string::npos) {
        at += number[at + 1] == '-' ? 2 : 1;
        number.erase(at, number.find_first_not_of("+0", at) - at);
    }
}

/// A real in the most digits that fit, an exponent without its plus and its zeros where these lack
/// room, and the zero in front of the point left out before the last two digits are; empty when
/// even these are too long: one says too little.
std::string fitReal(double number, std::size_t room)
{
    for (int digits = std::numeric_limits<double>::digits10; digits > 1; --digits) {
        std::string text = fmt::format("{:.{}g}", number, digits);
        if (text.size() > room) {
            compactExponent(text);
        }
        constexpr int kFewestDigits = 2;
        const std::size_t zero = text.find_first_not_of('-');
        if (digits == kFewestDigits && text.size() > room && text.compare(zero, 2, "0.") == 0) {
            text.erase(zero, 1);
        }
        if (text.size() <= room) {
            return text;
        }
    }
    return {};
}

/// Strings the answers of a cursor together to segments.
class LaneMaker
{
public:
    LaneMaker(Lane& lane, const TimeWindow& window, long long end, long long shortestText,
              const ValueText& valueText)
        : m_lane(lane), m_window(window), m_end(end), m_shortestText(shortestText),
          m_valueText(valueText), m_start(window.from)
    {}

    void add(long long time, const SignalState& state)
    {
        if (m_lane.signal.valueKind->fires() && state.kind == SignalState::Kind::Value) {
            m_lane.firings.push_back(time);
            close(time, {}, false);
            return;
        }
        close(std::max(time, m_window.from), state, time >= m_window.from);
    }

    void finish() { close(m_end, {}, false); }

private:
    /// Ends the segment at hand and lets `next` hold from there on.
    void close(long long until, const SignalState& next, bool startsHere)
    {
        if (until > m_start) {
            append(until);
        }
        m_start = std::max(until, m_start);
        m_state = next;
        m_startsHere = startsHere;
    }

    void append(long long until)
    {
        LaneSegment segment;
        segment.start = m_start;
        segment.end = until;
        segment.look = look();
        segment.startsHere = m_startsHere;
        if (m_lane.isCurve() && segment.look != Look::Blank && segment.look != Look::Dense) {
            appendToCurve(std::move(segment));
            return;
        }
        // The bytes of a value are filtered one by one; together they may still change too fast.
        const bool isLast = until >= m_end;
        // The crossing of a bus takes two pixels or columns, an edge one.
        const long long shortest =
            m_lane.signal.isDigital() ? m_window.resolution : 2 * m_window.resolution - 1;
        if (segment.look != Look::Blank && until - m_start <= shortest && !isLast && m_startsHere) {
            segment.look = Look::Dense;
        }
        std::vector<LaneSegment>& segments = m_lane.segments;
        if (segment.look == Look::Dense && !segments.empty() &&
            segments.back().look == Look::Dense) {
            segments.back().end = until;
            return;
        }
        addText(segment);
        segments.push_back(std::move(segment));
    }

    /// What lies within a pixel is one piece.
    void appendToCurve(LaneSegment segment)
    {
        constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
        segment.number = m_valueText.number(m_lane.signal, m_state).value_or(kNone);
        segment.lowest = segment.highest = segment.number;
        std::vector<LaneSegment>& segments = m_lane.segments;
        const bool isNumber = std::isfinite(segment.number);
        if (isNumber && !segments.empty() && std::isfinite(segments.back().number) &&
            segments.back().look >= Look::Bus &&
            segment.end - segments.back().start <= m_window.resolution) {
            LaneSegment& piece = segments.back();
            piece.end = segment.end;
            piece.number = segment.number;
            piece.lowest = std::min(piece.lowest, segment.number);
            piece.highest = std::max(piece.highest, segment.number);
            piece.text.clear();
            return;
        }
        addText(segment);
        segments.push_back(std::move(segment));
    }

    void addText(LaneSegment& segment) const
    {
        const Signal& signal = m_lane.signal;
        if (segment.look == Look::Blank || segment.look == Look::Dense ||
            segment.end - segment.start < m_shortestText) {
            return;
        }
        segment.text = m_valueText.format(signal, m_state);
        const bool isReal =
            signal.valueKind->isReal(m_state.plainValue()) && m_state.override.kind == 0;
        if (isReal) {
            segment.form = TextForm::Real;
            segment.number = m_valueText.number(signal, m_state).value_or(0);
        } else if (ValueText::nameOf(signal, m_valueText.letters(signal, m_state)) == nullptr &&
                   signal.valueKind->hasBits() && !signal.valueKind->isLetter()) {
            const Radix radix = ValueText::radixOf(signal);
            const bool isGrouped = radix != Radix::Binary && radix != Radix::Ascii;
            const bool isMixed = segment.text.find_first_of("XZ") != std::string::npos;
            segment.form = isGrouped || radix == Radix::Binary ? TextForm::Digits : TextForm::Plain;
            segment.letters =
                isGrouped && isMixed ? m_valueText.letters(signal, m_state) : std::string();
        }
    }

    Look look() const
    {
        if (m_state.kind == SignalState::Kind::Blank) {
            return Look::Blank;
        }
        if (m_state.kind == SignalState::Kind::Dense) {
            return Look::Dense;
        }
        const std::string letters = m_valueText.letters(m_lane.signal, m_state);
        return m_lane.signal.isDigital() && !letters.empty() ? lookOfLetter(letters[0])
                                                             : lookOfBus(letters);
    }

    Lane& m_lane;
    TimeWindow m_window;
    long long m_end;
    long long m_shortestText;
    const ValueText& m_valueText;
    long long m_start;
    SignalState m_state;
    bool m_startsHere = false;
};

} // namespace

bool Lane::getRange(double& lowest, double& highest) const
{
    bool isAny = false;
    for (const LaneSegment& segment : segments) {
        if (segment.look >= Look::Bus && std::isfinite(segment.number)) {
            lowest = isAny ? std::min(lowest, segment.lowest) : segment.lowest;
            highest = isAny ? std::max(highest, segment.highest) : segment.highest;
            isAny = true;
        }
    }
    return isAny;
}

Lane makeLane(const SignalValues& values, std::size_t signal, const TimeWindow& window,
              long long latestTime, long long shortestText, const ValueText& valueText)
{
    Lane lane;
    lane.signal = values.signals()[signal];
    const long long end = std::clamp(latestTime, window.from, window.to);
    LaneMaker maker(lane, window, end, shortestText, valueText);
    TimeWindow asked = window;
    // The extremes of a curve must not be lost among changes that lie close together.
    asked.resolution = lane.isCurve() ? 0 : window.resolution;
    const auto cursor = values.cursor(signal, asked);
    while (cursor->next()) {
        maker.add(cursor->time(), cursor->state());
    }
    maker.finish();
    return lane;
}

std::string fitText(const LaneSegment& segment, std::size_t room)
{
    // Fewer places hold no end that is worth its "…".
    constexpr std::size_t kFewest = 4;
    if (!segment.letters.empty() && segment.letters.size() <= room) {
        return segment.letters;
    }
    if (characterCount(segment.text) <= room) {
        return segment.text;
    }
    std::string text = segment.text;
    if (segment.form == TextForm::Real) {
        return fitReal(segment.number, room);
    }
    if (segment.form == TextForm::Digits) {
        text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
    }
    return characterCount(text) <= room || room >= kFewest ? cutEnd(text, room) : std::string();
}

CurveLimits limitsOf(const Lane& lane, std::size_t room)
{
    double lowest = 0;
    double highest = 0;
    if (!lane.isCurve() || !lane.getRange(lowest, highest)) {
        return {};
    }
    const auto fit = [&](double value) {
        const std::string text = fmt::format("{}", value);
        return text.size() <= room ? text : fitReal(value, room);
    };
    CurveLimits limits{fit(lowest), {}};
    if (highest > lowest) {
        limits.highest = fit(highest);
        if (limits.highest == limits.lowest && !limits.lowest.empty()) {
            // One more digit than the step itself has is noise of the subtraction.
            constexpr int kStepDigits = 2;
            limits.highest = fmt::format("+{:.{}g}", highest - lowest, kStepDigits);
            limits.highest.resize(limits.highest.size() <= room ? limits.highest.size() : 0);
        }
    }
    return limits;
}

char letterOf(Look look)
{
    switch (look) {
    case Look::Low:
        return '0';
    case Look::High:
        return '1';
    case Look::HighImpedance:
        return 'z';
    case Look::Uninitialized:
        return 'u';
    case Look::Weak:
        return 'w';
    case Look::WeakLow:
        return 'l';
    case Look::WeakHigh:
        return 'h';
    case Look::DontCare:
        return '-';
    default:
        return 'x';
    }
}

} // namespace tracewell
