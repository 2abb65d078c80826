#include "PlainVcd.h"

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
    letters = lower(letters);
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

class Reader
{
public:
    explicit Reader(const std::string& path) : m_stream(path, std::ios::binary)
    {
        if (!m_stream) {
            throw std::runtime_error("cannot read " + path);
        }
    }

    PlainVcd read()
    {
        while (m_stream >> m_word && m_word != "$enddefinitions") {
            declare(m_word);
        }
        if (m_vcd.variables.empty()) {
            throw std::runtime_error("no variables");
        }
        while (m_stream >> m_word) {
            change();
        }
        for (Place& place : m_places) {
            flush(place);
        }
        for (std::size_t i = 0; i < m_places.size(); ++i) {
            m_vcd.variables[i].history = m_histories[m_places[i].code];
        }
        return m_vcd;
    }

private:
    struct Place
    {
        std::string code;
    };
    struct Signal
    {
        std::size_t width = 1;
        bool isEvent = false;
    };

    std::string sectionText()
    {
        std::string text;
        while (m_stream >> m_word && m_word != "$end") {
            text += (text.empty() ? "" : " ") + m_word;
        }
        return text;
    }

    void declare(const std::string& keyword)
    {
        const std::string section = keyword;
        if (section == "$upscope") {
            m_scopes.pop_back();
        }
        if (section == "$end") {
            return;
        }
        const std::string text = sectionText();
        if (section == "$timescale") {
            m_vcd.timescale = text;
        } else if (section == "$scope") {
            const std::size_t blank = text.find(' ');
            m_scopes.push_back(blank == std::string::npos ? "" : text.substr(blank + 1));
        } else if (section == "$var") {
            std::istringstream words(text);
            std::string kind;
            std::string size;
            std::string code;
            words >> kind >> size >> code;
            const std::string name = text.substr(static_cast<std::size_t>(words.tellg()));
            std::string path;
            for (const std::string& scope : m_scopes) {
                path += scope + ".";
            }
            Signal& signal = m_signals[code];
            std::size_t width = std::strtoull(size.c_str(), nullptr, 10);
            width = width == 0 ? 1 : width;
            signal.width = std::max(signal.width, width);
            signal.isEvent = kind == "event";
            m_vcd.variables.push_back({kind + " " + std::to_string(width) + " " + path + name, {}});
            m_places.push_back({code});
        }
    }

    void change()
    {
        const char first = lower(m_word.substr(0, 1))[0];
        if (first == '$') {
            if (m_word == "$comment" || m_word.compare(0, 2, "$x") == 0) {
                sectionText();
            }
            return;
        }
        if (first == '#') {
            m_vcd.lastTime = std::strtoll(m_word.c_str() + 1, nullptr, 10);
            return;
        }
        std::string value = m_word;
        std::string code;
        std::string more;
        if (first == 'p') {
            for (int i = 0; i < 2; ++i) {
                m_stream >> more;
                value += " " + more;
            }
        }
        if (std::string("brsp").find(first) != std::string::npos) {
            m_stream >> code;
        } else if (m_word.size() == 1) {
            m_stream >> code;
            value = "b" + value;
        } else {
            code = m_word.substr(1);
            value = "b" + m_word.substr(0, 1);
        }
        if (m_signals.count(code) == 0) {
            throw std::runtime_error("undeclared " + code);
        }
        const Signal& signal = m_signals[code];
        if (lower(value)[0] == 'b') {
            value = extended(value.substr(1), signal.width);
        } else if (lower(value)[0] == 'r') {
            value = realValue(value.substr(1));
        } else {
            value[0] = first;
        }
        set(code, value, signal.isEvent);
    }

    void set(const std::string& code, const std::string& value, bool isEvent)
    {
        auto& history = m_histories[code];
        const bool sameTime = !history.empty() && history.back().first == m_vcd.lastTime;
        if (isEvent) {
            const int before = sameTime ? std::atoi(history.back().second.c_str()) : 0;
            if (sameTime) {
                history.pop_back();
            }
            history.emplace_back(m_vcd.lastTime, std::to_string(before + 1) + " times " + value);
            return;
        }
        if (sameTime) {
            history.back().second = value;
            return;
        }
        dropRepeat(history);
        history.emplace_back(m_vcd.lastTime, value);
    }

    static void dropRepeat(std::vector<std::pair<long long, std::string>>& history)
    {
        const std::size_t size = history.size();
        if (size > 1 && history[size - 1].second == history[size - 2].second) {
            history.pop_back();
        }
    }

    void flush(const Place& place)
    {
        if (!m_signals[place.code].isEvent) {
            dropRepeat(m_histories[place.code]);
        }
    }

    std::ifstream m_stream;
    std::string m_word;
    PlainVcd m_vcd;
    std::vector<std::string> m_scopes;
    std::vector<Place> m_places;
    std::map<std::string, Signal> m_signals;
    std::map<std::string, std::vector<std::pair<long long, std::string>>> m_histories;
};

} // namespace

PlainVcd readPlainVcd(const std::string& path)
{
    return Reader(path).read();
}

std::string differenceOf(const PlainVcd& a, const PlainVcd& b)
{
    if (a.variables.size() != b.variables.size()) {
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
            const auto text = [k](const PlainVcd::Variable& v) {
                return k < v.history.size()
                           ? std::to_string(v.history[k].first) + " " + v.history[k].second
                           : std::string("nothing");
            };
            if (text(left) != text(right)) {
                return left.declaration + ": " + text(left) + " and " + text(right);
            }
        }
    }
    return a.lastTime == b.lastTime ? std::string() : "different last times";
}
