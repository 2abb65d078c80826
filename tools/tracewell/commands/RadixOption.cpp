// SPDX-License-Identifier: BSD-3-Clause

#include "commands/RadixOption.h"

#include "names/ValueNames.h"
#include "text/Failure.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/ValueText.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace tracewell {

namespace {

constexpr std::pair<std::string_view, Curve> kCurves[] = {{"analog", Curve::Steps},
                                                          {"analog-line", Curve::Line}};

struct Style
{
    std::optional<Radix> radix;
    std::optional<Curve> curve;
};

/// "signed", "analog", or both with a "," between them.
std::optional<Style> parseStyle(std::string_view text)
{
    Style style;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const std::string_view word = text.substr(at, end - at);
        const auto isWord = [&](const auto& entry) { return entry.first == word; };
        const std::optional<Radix> radix = ValueText::findRadix(word);
        const auto* const curve = std::find_if(std::begin(kCurves), std::end(kCurves), isWord);
        if (radix && !style.radix) {
            style.radix = radix;
        } else if (curve != std::end(kCurves) && !style.curve) {
            style.curve = curve->second;
        } else {
            return std::nullopt;
        }
        at = end + 1;
    }
    return style;
}

/// The name is empty for all signals.
std::pair<std::string, std::string> split(const std::string& argument)
{
    const std::size_t equals = argument.rfind('=');
    return equals == std::string::npos
               ? std::pair(std::string(), argument)
               : std::pair(argument.substr(0, equals), argument.substr(equals + 1));
}

bool hasNumbers(const Signal& signal)
{
    return signal.valueKind->isNumber() || (signal.valueKind->hasBits() && signal.width > 1);
}

void apply(const Style& style, Signal& signal)
{
    signal.radix = style.radix.value_or(signal.radix);
    if (style.curve && hasNumbers(signal)) {
        signal.curve = *style.curve;
    }
}

/// What `make` makes of the text behind the "=" is done to the signals in front of it: first what
/// is for all.
template <typename Make>
void forEach(const std::vector<std::string>& arguments, const SignalNames& file,
             std::vector<Signal>& signals, const Make& make)
{
    for (const bool isForAll : {true, false}) {
        for (const std::string& argument : arguments) {
            const auto [name, text] = split(argument);
            if (name.empty() != isForAll) {
                continue;
            }
            std::unordered_set<std::string> labels;
            if (!isForAll) {
                for (const Signal& signal : selectSignals(file, {name})) {
                    labels.insert(signal.label);
                }
            }
            const auto change = make(text);
            for (Signal& signal : signals) {
                if (isForAll || labels.count(signal.label) + labels.count(signal.whole) > 0) {
                    change(signal);
                }
            }
        }
    }
}

std::string textOf(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Failure(fmt::format("--names: {}: this is a directory; name a file in it", path));
    }
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file || file.bad()) {
        throw Failure(fmt::format("{}: cannot be read; check the name and its permissions", path));
    }
    return text;
}

} // namespace

void RadixOption::addTo(CLI::App& command, bool draws)
{
    const std::string words =
        fmt::format("bin, oct, dec, signed, hex, ascii or auto{}", draws ? ", analog or "
                                                                           "analog-line"
                                                                         : "");
    const auto check = [draws, words](const std::string& argument) {
        const auto [name, text] = split(argument);
        const std::optional<Style> style = parseStyle(text);
        const bool isForAll = argument.find('=') == std::string::npos;
        if (style && (draws || !style->curve) && (isForAll || !name.empty())) {
            return std::string();
        }
        return fmt::format("\"{}\" is no radix; write {}, or SIGNAL=RADIX for one signal",
                           printable(argument), words);
    };
    command
        .add_option("--radix", m_arguments,
                    words + ", for all signals, or as SIGNAL=RADIX for some; may be given several "
                            "times. auto is dec for integer, int, time and parameter, and hex for "
                            "other vectors")
        ->type_name("[SIGNAL=]RADIX")
        ->check(CLI::Validator(check, "", "radix"))
        ->option_text("[SIGNAL=]RADIX")
        ->allow_extra_args(false);
    command
        .add_option("--names", m_nameFiles,
                    "A text with a line NAME VALUE for each value that is to be shown by its name, "
                    "for all signals, or for some; may be given several times")
        ->type_name("[SIGNAL=]FILE")
        ->option_text("[SIGNAL=]FILE")
        ->allow_extra_args(false);
}

void RadixOption::apply(const SignalNames& file, std::vector<Signal>& signals) const
{
    forEach(m_arguments, file, signals, [](const std::string& text) {
        const Style style = *parseStyle(text);
        return [style](Signal& signal) { tracewell::apply(style, signal); };
    });
    forEach(m_nameFiles, file, signals, [this](const std::string& path) {
        m_names.push_back(std::make_unique<Enumeration>(readValueNames(textOf(path), path)));
        return [names = m_names.back().get()](Signal& signal) {
            if (signal.valueKind->hasBits()) {
                signal.enumeration = names;
            }
        };
    });
}

} // namespace tracewell
