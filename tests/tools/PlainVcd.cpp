// SPDX-License-Identifier: BSD-3-Clause

#include "PlainVcd.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

std::string lower(std::string text)
{
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    return text;
}

std::string extended(std::string letters, std::size_t width)
{
    const auto filler = [](char c) { return c == '1' || c == 'h' || c == 'l' ? '0' : c; };
    while (letters.size() > width && letters[0] == filler(letters[letters.size() - width])) {
        letters.erase(0, 1);
    }
    if (letters.size() < width) {
        letters.insert(0, width - letters.size(), filler(letters[0]));
    }
    return "b" + letters;
}

std::string realValue(const std::string& text)
{
    const double value = std::strtod(text.c_str(), nullptr);
    char out[64];
    std::snprintf(out, sizeof out, "r%a", value);
    return value != value ? "rnan" : out;
}

/// All variables with one identifier code.
struct Signal
{
    std::size_t width = 1;
    bool isEvent = false;
    PlainVcd::History history;

    void dropRepeat()
    {
        const std::size_t size = history.size();
        if (!isEvent && size > 1 && history[size - 1].second == history[size - 2].second) {
            history.pop_back();
        }
    }

    void set(long long time, const std::string& value)
    {
        int firings = 1;
        if (!history.empty() && history.back().first == time) {
            firings += std::atoi(history.back().second.c_str());
            history.pop_back();
        }
        dropRepeat();
        history.emplace_back(time, isEvent ? std::to_string(firings) + " times " + value : value);
    }
};

class Reader
{
public:
    explicit Reader(const std::string& path) : m_stream(path, std::ios::binary) {}

    PlainVcd read()
    {
        while (m_stream >> m_word && m_word != "$enddefinitions") {
            declare();
        }
        while (m_stream >> m_word) {
            change();
        }
        for (std::size_t i = 0; i < m_codes.size(); ++i) {
            m_signals[m_codes[i]].dropRepeat();
            m_vcd.variables[i].history = m_signals[m_codes[i]].history;
        }
        return m_vcd;
    }

private:
    std::string sectionText()
    {
        std::string text;
        while (m_stream >> m_word && m_word != "$end") {
            text += (text.empty() ? "" : " ") + m_word;
        }
        return text;
    }

    void declare()
    {
        const std::string keyword = m_word;
        const std::string text = keyword == "$end" ? "" : sectionText();
        if (keyword == "$timescale") {
            m_vcd.timescale = text;
        } else if (keyword == "$scope") {
            m_scopes.push_back(text.find(' ') == std::string::npos ? ""
                                                                   : text.substr(text.find(' ')));
        } else if (keyword == "$upscope") {
            m_scopes.pop_back();
        } else if (keyword == "$var") {
            std::istringstream words(text);
            std::string kind;
            std::string code;
            std::size_t width = 0;
            words >> kind >> width >> code;
            width = std::max<std::size_t>(width, 1);
            std::string declaration = kind + " " + std::to_string(width);
            for (const std::string& scope : m_scopes) {
                declaration += scope + ".";
            }
            m_vcd.variables.push_back(
                {declaration + text.substr(static_cast<std::size_t>(words.tellg())), {}});
            m_codes.push_back(code);
            m_signals[code].width = std::max(m_signals[code].width, width);
            m_signals[code].isEvent = kind == "event";
        }
    }

    void change()
    {
        const char first = lower(m_word)[0];
        if (first == '$') {
            if (m_word == "$comment" || m_word == "$xtool") {
                sectionText();
            }
            return;
        }
        std::string value = m_word.substr(1);
        if (first == '#') {
            m_vcd.lastTime = std::strtoll(value.c_str(), nullptr, 10);
            return;
        }
        std::string code;
        std::string strengths[2];
        if (first == 'p') {
            m_stream >> strengths[0] >> strengths[1];
        }
        if (std::string("brsp").find(first) != std::string::npos || value.empty()) {
            m_stream >> code;
        } else {
            code = value;
        }
        if (m_signals.count(code) == 0) {
            throw std::runtime_error("undeclared " + code);
        }
        Signal& signal = m_signals[code];
        if (first == 'r') {
            value = realValue(value);
        } else if (first == 's' || first == 'p') {
            value = first + value + " " + strengths[0] + " " + strengths[1];
        } else {
            value = extended(first == 'b' ? lower(value) : std::string(1, first), signal.width);
        }
        signal.set(m_vcd.lastTime, value);
    }

    std::ifstream m_stream;
    std::string m_word;
    PlainVcd m_vcd;
    std::vector<std::string> m_scopes;
    /// The code of each variable.
    std::vector<std::string> m_codes;
    std::map<std::string, Signal> m_signals;
};

std::string stepText(const PlainVcd::Variable& variable, std::size_t step)
{
    return step < variable.history.size()
               ? std::to_string(variable.history[step].first) + " " + variable.history[step].second
               : "nothing";
}

} // namespace

PlainVcd readPlainVcd(const std::string& path)
{
    return Reader(path).read();
}

std::string differenceOf(const PlainVcd& a, const PlainVcd& b)
{
    if (a.variables.empty() || a.variables.size() != b.variables.size()) {
        return std::to_string(a.variables.size()) + " and " + std::to_string(b.variables.size()) +
               " variables";
    }
    for (std::size_t i = 0; i < a.variables.size(); ++i) {
        const PlainVcd::Variable& left = a.variables[i];
        const PlainVcd::Variable& right = b.variables[i];
        if (left.declaration != right.declaration) {
            return "\"" + left.declaration + "\" and \"" + right.declaration + "\"";
        }
        for (std::size_t k = 0; k < std::max(left.history.size(), right.history.size()); ++k) {
            if (stepText(left, k) != stepText(right, k)) {
                return left.declaration + ": " + stepText(left, k) + " and " + stepText(right, k);
            }
        }
    }
    return a.lastTime == b.lastTime ? std::string() : "different last times";
}
