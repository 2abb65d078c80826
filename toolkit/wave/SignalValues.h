// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"
#include "wave/SignalCursor.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// The histories of some signals of a recording, ready for questions at any zoom. What holds the
/// recording outlives it.
class SignalValues
{
public:
    explicit SignalValues(std::vector<Signal> signals) : m_signals(std::move(signals)) {}
    SignalValues(const SignalValues&) = delete;
    SignalValues& operator=(const SignalValues&) = delete;
    virtual ~SignalValues() = default;

    const std::vector<Signal>& signals() const { return m_signals; }
    std::unique_ptr<SignalCursor> cursor(std::size_t signal, const TimeWindow& window) const;
    /// The time of the first change behind `time`, or of the last one before it.
    std::optional<long long> nextChange(std::size_t signal, long long time) const;
    std::optional<long long> previousChange(std::size_t signal, long long time) const;
    /// Told the time and the bytes of a plain value, the first one lowest; false ends the visit.
    using VisitPlain = std::function<bool(long long time, unsigned long long bytes)>;
    /// The same history as cursor() without resolution gives, told at once, where the store has a
    /// shorter way and plain values of at most eight bytes tell all. False where not; then nothing
    /// was told.
    virtual bool visitPlain(std::size_t signal, long long from, long long to,
                            const VisitPlain& visit) const;
    /// A text of the recording; empty for one that is not there.
    virtual std::string lookUp(long long id) const = 0;

protected:
    // The answers for all that the bytes of a signal hold, which is more than the signal itself
    // where it shares them.
    virtual std::unique_ptr<SignalCursor> wholeCursor(std::size_t signal,
                                                      const TimeWindow& window) const = 0;
    virtual std::optional<long long> nextWholeChange(std::size_t signal, long long time) const = 0;
    virtual std::optional<long long> previousWholeChange(std::size_t signal,
                                                         long long time) const = 0;

private:
    std::unique_ptr<SignalCursor> sliceCursor(std::size_t signal, const TimeWindow& window) const;
    std::optional<long long> nextSliceChange(std::size_t signal, long long time) const;
    std::optional<long long> previousSliceChange(std::size_t signal, long long time) const;

    const std::vector<Signal> m_signals;
};

} // namespace tracewell
