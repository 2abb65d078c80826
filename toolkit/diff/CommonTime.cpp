// SPDX-License-Identifier: BSD-3-Clause

#include "diff/CommonTime.h"

#include "text/Failure.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace tracewell {

namespace {

/// The timescale's unit as a count of ten to the power of `exponent` seconds; 0 when that is too
/// large a number.
long long countOf(const Timescale& timescale, int exponent)
{
    auto count = static_cast<long long>(std::min(
        timescale.factor, static_cast<unsigned long long>(std::numeric_limits<long long>::max())));
    for (int power = timescale.exponent - exponent; power > 0; --power) {
        if (__builtin_mul_overflow(count, 10LL, &count)) {
            return 0;
        }
    }
    return count;
}

} // namespace

CommonTime::CommonTime(const Timescale& a, const Timescale& b) : m_textOfA(a)
{
    const int exponent = std::min(a.exponent, b.exponent);
    const long long countOfA = countOf(a, exponent);
    const long long countOfB = countOf(b, exponent);
    if (countOfA == 0 || countOfB == 0) {
        throw Failure("the timescales of the two runs, " + TimeText(a).timescaleText() + " and " +
                      TimeText(b).timescaleText() +
                      ", lie too far apart to compare them in real time");
    }
    const long long unit = std::gcd(countOfA, countOfB);
    m_a = countOfA / unit;
    m_b = countOfB / unit;
    m_text = TimeText({static_cast<unsigned long long>(unit), exponent, true});
}

long long CommonTime::parse(std::string_view source, const std::string& text) const
{
    const bool hasUnit = text.find('s') != std::string::npos;
    return hasUnit ? m_text.parse(source, text, Rounding::Down)
                   : ofA(m_textOfA.parse(source, text, Rounding::Down));
}

long long CommonTime::scale(long long time, long long units)
{
    long long scaled = 0;
    if (__builtin_mul_overflow(time, units, &scaled)) {
        throw Failure("a time lies beyond what the finer timescale of the two runs can tell; "
                      "give both the same timescale, or end before it with --to");
    }
    return scaled;
}

} // namespace tracewell
