// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <string>
#include <string_view>

namespace tracewell {

enum class Rounding { Down, Up };

/// True for a time as a person writes it: a number of 0 or more, with a fraction or a power of ten
/// if need be, then a unit (s, ms, us, ns, ps, fs, as, zs) or nothing: "12.5us", "1e6", "40 ns".
bool isTimeArgument(std::string_view text);
/// What a message says of any other text.
std::string whyNoTime(std::string_view text);

/// Turns times of one recording into text and back. A time is a count of the recording's timescale.
class TimeText
{
public:
    /// Of a recording whose timescale is not known: plain numbers only.
    TimeText() = default;
    explicit TimeText(const Timescale& timescale) : m_timescale(timescale), m_known(true) {}

    bool hasTimescale() const { return m_known; }
    /// "1 ns", "244 ns", empty when it is not known.
    std::string timescaleText() const;

    /// A time argument, see isTimeArgument. Without a unit it is in units of the timescale.
    /// `source` is the option or argument that it was given by.
    /// \throws Failure when it lies beyond the largest time, and when it has a unit and the
    /// timescale is not known; the text begins with `source`.
    long long parse(std::string_view source, std::string_view text, Rounding rounding) const;

    /// In the unit that reads best, and exact: "12.5 us"; the plain number without a timescale.
    std::string format(long long time) const;

    /// `value` times ten to the power of `exponent` seconds, in the unit of ten to the power of
    /// `unit`.
    static std::string formatScaled(unsigned __int128 value, int exponent, int unit);

    /// 1 s when none is known.
    Timescale timescale() const { return m_known ? m_timescale : Timescale{1, 0, false}; }

    /// "ns" for -9; exponents between the named units take the one below: "ns" for -8.
    static const char* unitName(int exponent);
    /// The exponent of that unit: -9 for -8.
    static int unitExponent(int exponent);

private:
    Timescale m_timescale;
    bool m_known = false;
};

} // namespace tracewell
