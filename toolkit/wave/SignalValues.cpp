// SPDX-License-Identifier: BSD-3-Clause

#include "wave/SignalValues.h"

#include "wave/ValueText.h"

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

constexpr long long kLastTime = std::numeric_limits<long long>::max();

/// Leaves out the answers that are changes of other bits in the same bytes.
class SliceCursor : public SignalCursor
{
public:
    SliceCursor(std::unique_ptr<SignalCursor> whole, const Signal& signal, const ValueText& text)
        : m_whole(std::move(whole)), m_signal(signal), m_text(text)
    {}

    bool next() override
    {
        while (m_whole->next()) {
            const SignalState& state = m_whole->state();
            std::string shown = m_text.letters(m_signal, state);
            if (shown.empty()) {
                shown = m_text.format(m_signal, state);
            }
            if (m_hasState && state.kind == m_state.kind && shown == m_shown) {
                continue;
            }
            m_hasState = true;
            m_state = state;
            m_time = m_whole->time();
            m_shown = std::move(shown);
            return true;
        }
        return false;
    }

private:
    std::unique_ptr<SignalCursor> m_whole;
    const Signal& m_signal;
    ValueText m_text;
    bool m_hasState = false;
    std::string m_shown;
};

/// One that stands at its first answer.
class StartedCursor : public SignalCursor
{
public:
    StartedCursor(std::unique_ptr<SignalCursor> rest, long long start) : m_rest(std::move(rest))
    {
        m_time = start;
        m_state = m_rest->state();
    }

    bool next() override
    {
        if (!m_isStarted) {
            m_isStarted = true;
            return true;
        }
        if (!m_rest->next()) {
            return false;
        }
        m_time = m_rest->time();
        m_state = m_rest->state();
        return true;
    }

private:
    std::unique_ptr<SignalCursor> m_rest;
    bool m_isStarted = false;
};

} // namespace

std::unique_ptr<SignalCursor> SignalValues::cursor(std::size_t signal,
                                                   const TimeWindow& window) const
{
    if (!m_signals[signal].sharesBytes()) {
        return wholeCursor(signal, window);
    }
    std::unique_ptr<SignalCursor> slice = sliceCursor(signal, window);
    if (!slice->next()) {
        return slice;
    }
    // What holds at the start came up when these very bits changed, not others beside them.
    std::optional<long long> start;
    if (slice->time() <= window.from && window.from < kLastTime) {
        start = previousSliceChange(signal, window.from + 1);
    }
    const long long time = start.value_or(slice->time());
    return std::make_unique<StartedCursor>(std::move(slice), time);
}

std::optional<long long> SignalValues::nextChange(std::size_t signal, long long time) const
{
    return m_signals[signal].sharesBytes() ? nextSliceChange(signal, time)
                                           : nextWholeChange(signal, time);
}

std::optional<long long> SignalValues::previousChange(std::size_t signal, long long time) const
{
    return m_signals[signal].sharesBytes() ? previousSliceChange(signal, time)
                                           : previousWholeChange(signal, time);
}

std::unique_ptr<SignalCursor> SignalValues::sliceCursor(std::size_t signal,
                                                        const TimeWindow& window) const
{
    return std::make_unique<SliceCursor>(wholeCursor(signal, window), m_signals[signal],
                                         ValueText([this](long long id) { return lookUp(id); }));
}

std::optional<long long> SignalValues::nextSliceChange(std::size_t signal, long long time) const
{
    const auto slice = sliceCursor(signal, {time, kLastTime, 0});
    while (slice->next()) {
        if (slice->time() > time) {
            return slice->time();
        }
    }
    return std::nullopt;
}

/// Looks through stretches that get longer the further back they lie: the whole vector may have
/// changed a million times since these bits did.
std::optional<long long> SignalValues::previousSliceChange(std::size_t signal, long long time) const
{
    constexpr long long kFirstStretch = 64;
    constexpr long long kGrowth = 8;
    for (long long stretch = kFirstStretch;; stretch *= kGrowth) {
        const std::optional<long long> last = previousWholeChange(signal, time);
        if (!last) {
            return std::nullopt;
        }
        const long long from = *last > stretch ? *last - stretch : -1;
        const auto slice = sliceCursor(signal, {from, *last, 0});
        std::optional<long long> found;
        while (slice->next()) {
            found = slice->time() > from ? slice->time() : found;
        }
        if (found || from < 0) {
            return found;
        }
        time = from + 1;
        stretch = std::min(stretch, kLastTime / kGrowth / kGrowth);
    }
}

bool SignalValues::visitPlain(std::size_t /*signal*/, long long /*from*/, long long /*to*/,
                              const VisitPlain& /*visit*/) const
{
    return false;
}

} // namespace tracewell
