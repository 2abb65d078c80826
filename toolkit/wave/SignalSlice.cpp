// SPDX-License-Identifier: BSD-3-Clause

#include "wave/SignalSlice.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace tracewell {

namespace {

constexpr unsigned int kBitsOfGroup = 32;
constexpr unsigned int kBytesOfGroup = 8;

std::optional<long long> parseIndex(std::string_view text)
{
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && !text.empty() ? std::optional(value) : std::nullopt;
}

std::optional<BitRange> parseRange(std::string_view text)
{
    if (text.size() < 3 || text.front() != '[' || text.back() != ']') {
        return std::nullopt;
    }
    text = text.substr(1, text.size() - 2);
    const std::size_t colon = text.find(':');
    const std::optional<long long> left = parseIndex(text.substr(0, colon));
    const std::optional<long long> right =
        colon == std::string_view::npos ? left : parseIndex(text.substr(colon + 1));
    return left && right ? std::optional(BitRange{*left, *right}) : std::nullopt;
}

} // namespace

BitRange numbersOf(const Variable& variable, unsigned int width)
{
    const std::optional<BitRange> declared = parseRange(variable.range.str());
    if (declared) {
        const long long low = std::min(declared->left, declared->right);
        const long long high = std::max(declared->left, declared->right);
        // Not high - low: what a table says may be any number.
        if (low > -(1LL << 40) && high < 1LL << 40 && high - low + 1 == width) {
            return *declared;
        }
    }
    return {static_cast<long long>(width) - 1, 0};
}

std::optional<SliceArgument> parseSlice(std::string_view argument)
{
    const std::size_t open = argument.rfind('[');
    if (open == std::string_view::npos || open == 0) {
        return std::nullopt;
    }
    const std::optional<BitRange> bits = parseRange(argument.substr(open));
    return bits ? std::optional(SliceArgument{std::string(argument.substr(0, open)), *bits})
                : std::nullopt;
}

Signal makeSlice(const SignalNames& file, const Signal& signal, const Variable& variable,
                 const std::string& plainLabel, const BitRange& bits)
{
    if (!signal.valueKind->hasBits() || signal.valueKind->isLetter()) {
        throw Failure(fmt::format("{}: {} is no vector; ask for it without bits behind it",
                                  file.path(), signal.label));
    }
    const BitRange all = numbersOf(variable, signal.width);
    const bool isDown = all.left >= all.right;
    const auto [low, high] = std::minmax(bits.left, bits.right);
    if (low < std::min(all.left, all.right) || high > std::max(all.left, all.right)) {
        throw Failure(fmt::format("{}: {} has no bits [{}:{}]; it has [{}:{}]", file.path(),
                                  plainLabel, bits.left, bits.right, all.left, all.right));
    }

    Signal slice = signal;
    slice.whole = signal.label;
    slice.enumeration = nullptr;
    slice.label = low == high ? fmt::format("{}[{}]", plainLabel, low)
                              : fmt::format("{}[{}:{}]", plainLabel, isDown ? high : low,
                                            isDown ? low : high);
    slice.width = static_cast<unsigned int>(high - low + 1);
    const auto first = static_cast<unsigned int>(isDown ? low - all.right : all.right - high);
    const auto groupsOf = [](unsigned int lastBit) { return lastBit / kBitsOfGroup + 1; };
    if (file.places() == SignalNames::Places::Objects) {
        slice.firstId += first;
        slice.idCount = slice.width;
        slice.size = static_cast<long long>(groupsOf(slice.width - 1)) * kBytesOfGroup;
        return slice;
    }
    const unsigned int firstGroup = first / kBitsOfGroup;
    slice.address += static_cast<long long>(firstGroup) * kBytesOfGroup;
    slice.size =
        static_cast<long long>(groupsOf(first + slice.width - 1) - firstGroup) * kBytesOfGroup;
    slice.bitsBefore = first % kBitsOfGroup;
    slice.wholeWidth = signal.width;
    slice.firstOfWhole = first;
    return slice;
}

} // namespace tracewell
