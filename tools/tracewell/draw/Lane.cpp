#include "draw/Lane.h"

#include <algorithm>
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
    if (letters.empty() || letters.find_first_not_of("01lh") == std::string_view::npos) {
        return Look::Bus;
    }
    const bool uniform = letters.find_first_not_of(letters[0]) == std::string_view::npos;
    if (uniform && (letters[0] == 'x' || letters[0] == 'z' || letters[0] == 'u')) {
        return lookOfLetter(letters[0]);
    }
    return Look::BusInPart;
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
        if (m_lane.signal.form == Signal::Form::Event && state.kind == SignalState::Kind::Value) {
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
        LaneSegment segment{m_start, until, look(), {}, m_startsHere};
        // The bytes of a value are filtered one by one; together they may still change too fast.
        const bool isLast = until >= m_end;
        if (segment.look != Look::Blank && until - m_start <= m_window.resolution && !isLast &&
            m_startsHere) {
            segment.look = Look::Dense;
        }
        std::vector<LaneSegment>& segments = m_lane.segments;
        if (segment.look == Look::Dense && !segments.empty() &&
            segments.back().look == Look::Dense) {
            segments.back().end = until;
            return;
        }
        const bool hasText = segment.look >= Look::Bus || !m_lane.signal.isDigital();
        if (hasText && segment.look > Look::Dense && until - m_start >= m_shortestText) {
            segment.text = m_valueText.format(m_lane.signal, m_state);
        }
        segments.push_back(std::move(segment));
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

Lane makeLane(const SignalValues& values, std::size_t signal, const TimeWindow& window,
              long long latestTime, long long shortestText, const ValueText& valueText)
{
    Lane lane;
    lane.signal = values.signals()[signal];
    const long long end = std::clamp(latestTime, window.from, window.to);
    LaneMaker maker(lane, window, end, shortestText, valueText);
    const auto cursor = values.cursor(signal, window);
    while (cursor->next()) {
        maker.add(cursor->time(), cursor->state());
    }
    maker.finish();
    return lane;
}

} // namespace tracewell
