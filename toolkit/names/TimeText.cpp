// SPDX-License-Identifier: BSD-3-Clause

#include "names/TimeText.h"

#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tracewell {

namespace {

using Wide = unsigned __int128;

struct Unit
{
    std::string_view name;
    int exponent;
};

constexpr std::array<Unit, 10> kUnits = {{{"s", 0},
                                          {"ms", -3},
                                          {"us", -6},
                                          {"ns", -9},
                                          {"ps", -12},
                                          {"fs", -15},
                                          {"as", -18},
                                          {"zs", -21},
                                          {"µs", -6},
                                          {"sec", 0}}};
constexpr int kSmallestUnit = -21;
constexpr long long kLatest = std::numeric_limits<long long>::max();
/// Far above any time, and far enough below the range of Wide to be multiplied by ten.
constexpr Wide kSaturated = static_cast<Wide>(1) << 120;
/// A power of ten in an argument that is beyond any use.
constexpr int kLargestPower = 10000;

/// A time argument, taken apart: mantissa times ten to the power of `power`, then a unit.
struct Parts
{
    Wide mantissa = 0;
    int power = 0;
    bool lostDigits = false;
    const Unit* unit = nullptr;
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

void addDigit(Parts& parts, char digit, bool fraction)
{
    if (parts.mantissa >= kSaturated) {
        parts.lostDigits = parts.lostDigits || digit != '0';
        parts.power += fraction ? 0 : 1;
        return;
    }
    parts.mantissa = parts.mantissa * 10 + static_cast<unsigned int>(digit - '0');
    parts.power -= fraction ? 1 : 0;
}

bool takeNumber(std::string_view& text, Parts& parts)
{
    bool digits = false;
    bool fraction = false;
    for (; !text.empty() && (isDigit(text[0]) || (text[0] == '.' && !fraction));
         text.remove_prefix(1)) {
        if (text[0] == '.') {
            fraction = true;
        } else {
            digits = true;
            addDigit(parts, text[0], fraction);
        }
    }
    return digits;
}

bool takePower(std::string_view& text, Parts& parts)
{
    if (text.empty() || (text[0] != 'e' && text[0] != 'E')) {
        return true;
    }
    text.remove_prefix(1);
    const bool negative = !text.empty() && text[0] == '-';
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || !isDigit(text[0])) {
        return false;
    }
    int power = 0;
    for (; !text.empty() && isDigit(text[0]); text.remove_prefix(1)) {
        power = std::min(power * 10 + (text[0] - '0'), kLargestPower);
    }
    parts.power += negative ? -power : power;
    return true;
}

bool takeApart(std::string_view text, Parts& parts)
{
    if (text.size() > static_cast<std::size_t>(kLargestPower) || !takeNumber(text, parts) ||
        !takePower(text, parts)) {
        return false;
    }
    while (!text.empty() && text[0] == ' ') {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return true;
    }
    for (const Unit& unit : kUnits) {
        if (text == unit.name) {
            parts.unit = &unit;
            return true;
        }
    }
    return false;
}

/// value / divisor; `inexact` is raised when something is left.
Wide divide(Wide value, Wide divisor, bool& inexact)
{
    inexact = inexact || value % divisor != 0;
    return value / divisor;
}

std::string digitsOf(Wide value)
{
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return digits;
}

/// `digits` times ten to the power of `power`, as a decimal fraction without needless zeros.
std::string placePoint(std::string digits, int power)
{
    if (digits == "0") {
        return digits;
    }
    if (power >= 0) {
        return digits.append(static_cast<std::size_t>(power), '0');
    }
    const auto places = static_cast<std::size_t>(-power);
    if (digits.size() <= places) {
        digits.insert(0, places + 1 - digits.size(), '0');
    }
    digits.insert(digits.size() - places, ".");
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') {
        digits.pop_back();
    }
    return digits;
}

Wide magnitudeOf(long long time)
{
    return time < 0 ? static_cast<Wide>(0) - static_cast<Wide>(static_cast<__int128>(time))
                    : static_cast<Wide>(time);
}

} // namespace

bool isTimeArgument(std::string_view text)
{
    Parts parts;
    return takeApart(text, parts);
}

std::string whyNoTime(std::string_view text)
{
    return fmt::format("{} is no time; write a number and, if need be, a unit: 12.5us",
                       quotation(text));
}

int TimeText::unitExponent(int exponent)
{
    if (exponent >= 0) {
        return 0;
    }
    return std::max((exponent - 2) / 3 * 3, kSmallestUnit);
}

const char* TimeText::unitName(int exponent)
{
    const int wanted = unitExponent(exponent);
    for (const Unit& unit : kUnits) {
        if (unit.exponent == wanted) {
            return unit.name.data();
        }
    }
    return "s";
}

std::string TimeText::timescaleText() const
{
    return m_known ? format(1) : std::string();
}

long long TimeText::parse(std::string_view source, std::string_view text, Rounding rounding) const
{
    Parts parts;
    if (!takeApart(text, parts)) {
        throw Failure(fmt::format("{}: {}", source, whyNoTime(text)));
    }
    if (parts.unit != nullptr && !m_known) {
        throw Failure(
            fmt::format("{}: {} has a unit, and the recording states no timescale; give the time "
                        "as a plain number",
                        source, quotation(text)));
    }

    Wide value = parts.mantissa;
    bool inexact = parts.lostDigits;
    int power = parts.power;
    if (parts.unit != nullptr) {
        power += parts.unit->exponent - m_timescale.exponent;
    }
    for (; power > 0 && value != 0 && value < kSaturated; --power) {
        value *= 10;
    }
    const auto refuse = [&] {
        throw Failure(fmt::format("{}: {} lies beyond the latest time that there is, {}; give an "
                                  "earlier one",
                                  source, quotation(text), format(kLatest)));
    };
    if (power > 0 && value != 0) {
        refuse();
    }
    for (; power < 0 && value != 0; ++power) {
        value = divide(value, 10, inexact);
    }
    if (parts.unit != nullptr) {
        value = divide(value, std::max<Wide>(m_timescale.factor, 1), inexact);
    }
    if (rounding == Rounding::Up && inexact) {
        ++value;
    }
    if (value > static_cast<Wide>(kLatest)) {
        refuse();
    }
    return static_cast<long long>(value);
}

std::string TimeText::format(long long time) const
{
    if (!m_known) {
        return std::to_string(time);
    }
    const Wide value = magnitudeOf(time) * std::max<Wide>(m_timescale.factor, 1);
    if (value == 0) {
        return "0 s";
    }
    const int magnitude = static_cast<int>(digitsOf(value).size()) - 1 + m_timescale.exponent;
    const int unit = unitExponent(magnitude);
    return fmt::format("{}{} {}", time < 0 ? "-" : "",
                       formatScaled(value, m_timescale.exponent, unit), unitName(unit));
}

std::string TimeText::formatScaled(unsigned __int128 value, int exponent, int unit)
{
    return placePoint(digitsOf(value), exponent - unit);
}

} // namespace tracewell
