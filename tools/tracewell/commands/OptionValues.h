// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <CLI/App.hpp>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// For the transform() of an option: only such a value is taken, and a word on another one.
CLI::Validator wholeNumber(long long least, long long most);
/// Plain or with a power of ten, up to a milliard.
CLI::Validator numberAboveZero();
CLI::Validator numberFromZero();

/// Why `word` is none of `words`, with the nearest of them.
std::string noneOf(const std::string& word, const std::vector<std::string>& words);

template <typename Choice> using Choices = std::vector<std::pair<std::string, Choice>>;

/// An option that takes one of a few words, spelled just so.
template <typename Choice>
CLI::Option* addChoice(CLI::App& command, const std::string& name, Choice& value,
                       const Choices<Choice>& choices, const std::string& description)
{
    std::vector<std::string> words;
    std::string type;
    for (const auto& [word, choice] : choices) {
        words.push_back(word);
        type += (type.empty() ? "" : "|") + word;
    }
    const std::function<void(const std::string&)> take = [&value,
                                                          choices](const std::string& given) {
        for (const auto& [word, choice] : choices) {
            value = word == given ? choice : value;
        }
    };
    const std::function<std::string(const std::string&)> check = [words](const std::string& given) {
        const bool isKnown = std::find(words.begin(), words.end(), given) != words.end();
        return isKnown ? std::string() : noneOf(given, words);
    };
    return command.add_option_function(name, take, description)->type_name(type)->check(check);
}

} // namespace tracewell
