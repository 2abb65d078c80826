// SPDX-License-Identifier: BSD-3-Clause

#include "commands/OptionValues.h"

#include "text/Message.h"
#include "text/NearestWord.h"

#include <fmt/format.h>

#include <cstdlib>

namespace tracewell {

namespace {

constexpr double kLargestNumber = 1e9;

CLI::Validator number(bool takesZero)
{
    return CLI::Validator(
        [takesZero](std::string& text) {
            const bool isPlain =
                !text.empty() && text.find_first_not_of("0123456789.eE+-") == std::string::npos;
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            const bool isTaken = isPlain && *end == '\0' && value <= kLargestNumber &&
                                 (takesZero ? value >= 0 : value > 0);
            return isTaken ? std::string()
                           : fmt::format("{} is no number {} up to {:.0f}", quotation(text),
                                         takesZero ? "from 0" : "above 0,", kLargestNumber);
        },
        "", "number");
}

} // namespace

CLI::Validator wholeNumber(long long least, long long most)
{
    return CLI::Validator(
        [least, most](std::string& text) {
            constexpr std::size_t kMostDigits = 18;
            const std::size_t start = std::min(text.find_first_not_of('0'), text.size() - 1);
            const bool isPlain = !text.empty() && text.size() - start <= kMostDigits &&
                                 text.find_first_not_of("0123456789") == std::string::npos;
            const long long value = isPlain ? std::strtoll(text.c_str(), nullptr, 10) : -1;
            if (value < least || value > most) {
                return fmt::format("{} is no whole number from {} to {}", quotation(text), least,
                                   most);
            }
            text = std::to_string(value);
            return std::string();
        },
        "", "whole number");
}

CLI::Validator numberAboveZero()
{
    return number(false);
}

CLI::Validator numberFromZero()
{
    return number(true);
}

std::string noneOf(const std::string& word, const std::vector<std::string>& words)
{
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i) {
        list += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    }
    const std::string near = nearestWord(word, words);
    return fmt::format("{} is none of {}{}", quotation(word), list,
                       near.empty() ? "" : " (did you mean " + near + "?)");
}

} // namespace tracewell
