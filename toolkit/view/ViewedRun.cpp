// SPDX-License-Identifier: BSD-3-Clause

#include "view/ViewedRun.h"

#include "draw/Lane.h"
#include "draw/Picture.h"
#include "text/Failure.h"
#include "text/Utf8.h"
#include "view/LaneFrame.h"
#include "wave/SignalSelection.h"
#include "wave/SignalSlice.h"
#include "wave/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <regex>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tracewell {

namespace {

using Json = ViewedRun::Json;

constexpr std::size_t kLongestList = 2000;
constexpr std::size_t kMostRows = 20000;
constexpr std::size_t kKeptRows = 6;
constexpr long long kMostPixels = 20000;
/// Changes that a question about a row looks at.
constexpr unsigned long long kMostChanges = 5'000'000;
constexpr std::size_t kLongestPattern = 1000;

/// A time of the page: text, for its 64 bits.
long long timeOf(const Json& json)
{
    const std::string& text = json.get_ref<const std::string&>();
    long long time = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), time);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
        throw Failure("a time that is no number");
    }
    return std::max(time, 0LL);
}

Radix radixOf(const Json& row)
{
    const auto word = row.find("radix");
    if (word == row.end()) {
        return Radix::Automatic;
    }
    return ValueText::findRadix(word->get_ref<const std::string&>()).value_or(Radix::Automatic);
}

Curve curveOf(const Json& row)
{
    const auto word = row.find("curve");
    if (word == row.end() || !word->is_string()) {
        return Curve::None;
    }
    const std::string& text = word->get_ref<const std::string&>();
    return text == "steps" ? Curve::Steps : text == "line" ? Curve::Line : Curve::None;
}

std::string lower(std::string_view text)
{
    std::string small(text);
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return small;
}

/// A part of the name, a glob or a regular expression, in either case.
class NameFilter
{
public:
    NameFilter(const std::string& pattern, const std::string& mode) : m_mode(mode)
    {
        if (pattern.size() > kLongestPattern) {
            throw Failure("the pattern is too long");
        }
        m_pattern = lower(pattern);
        if (mode == "regex") {
            try {
                m_regex.assign(pattern, std::regex::icase | std::regex::optimize);
            } catch (const std::regex_error&) {
                throw Failure("the pattern is no regular expression");
            }
        }
    }
    bool fits(const std::string& name) const
    {
        if (m_mode == "regex") {
            try {
                // The library's matcher takes stack for each character.
                constexpr std::size_t kLongestName = 2000;
                return name.size() <= kLongestName && std::regex_search(name, m_regex);
            } catch (const std::regex_error&) {
                return false;
            }
        }
        return m_mode == "glob" ? matchesGlob(m_pattern, lower(name))
                                : lower(name).find(m_pattern) != std::string::npos;
    }

private:
    std::string m_mode;
    std::string m_pattern;
    std::regex m_regex;
};

ValueText textsOf(const SignalValues& values)
{
    return ValueText([&values](long long id) { return values.lookUp(id); });
}

} // namespace

ViewedRun::ViewedRun(std::string name, std::unique_ptr<ViewSource> source)
    : m_name(std::move(name)), m_source(std::move(source))
{
    readNames();
}

void ViewedRun::readNames()
{
    m_rows.clear();
    m_generation = m_source->generation();
    m_signals = allSignals(m_source->names());
    const Declarations& names = m_source->names().declarations();
    const std::size_t outermost = names.scopes.size();
    m_scopesIn.assign(outermost + 1, {});
    m_variablesIn.assign(outermost + 1, {});
    const auto placeOf = [&](std::size_t scope) { return scope == kNoScope ? outermost : scope; };
    for (std::size_t i = 0; i < names.scopes.size(); ++i) {
        m_scopesIn[placeOf(names.scopes[i].parent)].push_back(static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = 0; i < names.variables.size(); ++i) {
        m_variablesIn[placeOf(names.variables[i].scope)].push_back(static_cast<std::uint32_t>(i));
    }
}

void ViewedRun::refresh()
{
    if (m_generation != m_source->generation()) {
        readNames();
    }
}

void ViewedRun::poll()
{
    m_source->poll([this] { m_rows.clear(); });
    refresh();
}

ViewedRun::Json ViewedRun::describe()
{
    refresh();
    const Declarations& names = m_source->names().declarations();
    Json json = {{"name", printable(m_name)},
                 {"factor", std::to_string(names.timescale.factor)},
                 {"exponent", names.timescale.exponent},
                 {"latest", std::to_string(m_source->latestTime())},
                 {"running", m_source->isRunning()},
                 {"generation", m_source->generation()},
                 {"variables", names.variables.size()},
                 {"madeBy", printable(names.version)},
                 {"date", printable(names.date)}};
    Json lines = Json::array();
    for (const std::string& line : m_source->shortfalls()) {
        lines.push_back(printable(line));
    }
    json["lacks"] = lines;
    return json;
}

ViewedRun::Json ViewedRun::variableJson(std::size_t variable, bool isFull) const
{
    const Declarations& names = m_source->names().declarations();
    const Variable& declared = names.variables[variable];
    const Signal& signal = m_signals[variable];
    Json json = {{"v", variable},
                 {"name", isFull ? signal.label : printable(declared.name + declared.range.str())},
                 {"kind", signal.kind},
                 {"width", signal.width}};
    if (signal.valueKind->fires()) {
        json["form"] = "event";
    } else if (signal.valueKind->isText()) {
        json["form"] = "text";
    } else if (!signal.valueKind->hasBits()) {
        json["form"] = "real";
    } else {
        json["form"] = signal.width == 1 ? "level" : "bus";
    }
    if (!signal.direction.empty()) {
        json["direction"] = signal.direction;
    }
    if (!signal.type.empty()) {
        json["type"] = signal.type;
    }
    if (!declared.range.empty()) {
        json["range"] = printable(declared.range.str());
    }
    return json;
}

ViewedRun::Json ViewedRun::listScope(const Json& request)
{
    refresh();
    const Declarations& names = m_source->names().declarations();
    const long long asked = request.at("scope").get<long long>();
    const std::size_t scope = asked < 0 ? names.scopes.size() : static_cast<std::size_t>(asked);
    if (scope >= m_scopesIn.size()) {
        throw Failure("no such scope");
    }
    // Its scopes, then its variables, counted through.
    const std::vector<std::uint32_t>& inner = m_scopesIn[scope];
    const std::vector<std::uint32_t>& all = m_variablesIn[scope];
    const std::size_t size = inner.size() + all.size();
    const std::size_t from = std::min(request.value("from", std::size_t{0}), size);
    const std::size_t to = std::min(from + kLongestList, size);
    Json scopes = Json::array();
    Json variables = Json::array();
    for (std::size_t i = from; i < to; ++i) {
        if (i < inner.size()) {
            const std::uint32_t at = inner[i];
            scopes.push_back({{"s", at},
                              {"name", printable(names.scopes[at].name)},
                              {"kind", printable(names.scopes[at].kind)},
                              {"scopes", m_scopesIn[at].size()},
                              {"variables", m_variablesIn[at].size()}});
        } else {
            variables.push_back(variableJson(all[i - inner.size()], false));
        }
    }
    return {{"scopes", scopes}, {"variables", variables}, {"more", to < size ? to : 0}};
}

ViewedRun::Json ViewedRun::find(const Json& request)
{
    refresh();
    const NameFilter filter(request.value("pattern", std::string()),
                            request.value("mode", std::string("text")));
    const std::string direction = request.value("direction", std::string());
    const std::string kind = request.value("kind", std::string());
    const std::size_t most = std::min(request.value("most", kLongestList), kLongestList);
    Json found = Json::array();
    bool isAll = true;
    for (std::size_t i = 0; i < m_signals.size(); ++i) {
        const Signal& signal = m_signals[i];
        if ((!direction.empty() && signal.direction != direction) ||
            (!kind.empty() && signal.kind != kind) || !filter.fits(signal.label)) {
            continue;
        }
        if (found.size() == most) {
            isAll = false;
            break;
        }
        found.push_back(variableJson(i, true));
    }
    return {{"variables", found}, {"all", isAll}};
}

ViewedRun::Json ViewedRun::resolve(const Json& request)
{
    refresh();
    std::unordered_map<std::string, std::size_t> places;
    std::unordered_map<std::string, std::size_t> plain;
    const Declarations& names = m_source->names().declarations();
    for (std::size_t i = 0; i < m_signals.size(); ++i) {
        const std::string& label = m_signals[i].label;
        places.emplace(label, i);
        // Widths may change from one run to the next.
        const std::string range = printable(names.variables[i].range.str());
        const bool hasRange = label.size() > range.size() &&
                              label.compare(label.size() - range.size(), range.size(), range) == 0;
        plain.emplace(hasRange ? label.substr(0, label.size() - range.size()) : label, i);
    }
    Json found = Json::array();
    for (const Json& name : request.at("names")) {
        const std::string& text = name.get_ref<const std::string&>();
        auto place = places.find(text);
        if (place == places.end()) {
            place = plain.find(text.substr(0, text.rfind('[')));
            if (place == plain.end()) {
                found.push_back(nullptr);
                continue;
            }
        }
        found.push_back(variableJson(place->second, true));
        if (found.size() == kMostRows) {
            break;
        }
    }
    return {{"variables", found}};
}

/// {"v": variable, "bits": [left, right], "radix": word, "curve": word}
Signal ViewedRun::signalOf(const Json& row) const
{
    const std::size_t variable = row.at("v").get<std::size_t>();
    if (variable >= m_signals.size()) {
        throw Failure("no such signal");
    }
    Signal signal = m_signals[variable];
    if (const auto bits = row.find("bits"); bits != row.end() && bits->is_array()) {
        const Declarations& names = m_source->names().declarations();
        const Variable& declared = names.variables[variable];
        const std::string range = printable(declared.range.str());
        signal = makeSlice(m_source->names(), signal, declared,
                           signal.label.substr(0, signal.label.size() - range.size()),
                           {bits->at(0).get<long long>(), bits->at(1).get<long long>()});
    }
    signal.radix = radixOf(row);
    signal.curve = curveOf(row);
    if (!signal.valueKind->isNumber() && !(signal.valueKind->hasBits() && signal.width > 1)) {
        signal.curve = Curve::None;
    }
    return signal;
}

const SignalValues& ViewedRun::valuesOf(const Json& rows)
{
    refresh();
    if (!rows.is_array() || rows.size() > kMostRows) {
        throw Failure("too many rows at once");
    }
    std::string key = rows.dump();
    const auto known = std::find_if(m_rows.begin(), m_rows.end(),
                                    [&](const Rows& some) { return some.key == key; });
    if (known != m_rows.end()) {
        std::rotate(m_rows.begin(), known, known + 1);
        return *m_rows.front().values;
    }
    std::vector<Signal> signals;
    for (const Json& row : rows) {
        signals.push_back(signalOf(row));
    }
    if (m_rows.size() == kKeptRows) {
        m_rows.pop_back();
    }
    m_rows.insert(m_rows.begin(), Rows{std::move(key), m_source->values(std::move(signals))});
    return *m_rows.front().values;
}

std::string ViewedRun::lanes(std::uint32_t id, const Json& request)
{
    const SignalValues& values = valuesOf(request.at("rows"));
    TimeWindow window;
    window.from = timeOf(request.at("from"));
    window.to = std::max(timeOf(request.at("to")), window.from);
    const long long pixels = std::clamp(request.at("pixels").get<long long>(), 1LL, kMostPixels);
    const long long pixel = (window.to - window.from) / pixels;
    window.resolution = pixel;
    constexpr long long kShortestText = 12;
    std::string frame;
    m_source->whileSteady([&] {
        const long long latest = m_source->latestTime();
        LaneFrame out(id, static_cast<std::uint32_t>(values.signals().size()), window, latest);
        const ValueText texts = textsOf(values);
        for (std::size_t i = 0; i < values.signals().size(); ++i) {
            out.add(makeLane(values, i, window, latest, kShortestText * pixel, texts));
        }
        frame = out.take();
    });
    return frame;
}

ViewedRun::Json ViewedRun::picture(const Json& request)
{
    const SignalValues& values = valuesOf(request.at("rows"));
    constexpr long long kNarrowest = 300;
    const auto width = static_cast<unsigned int>(
        std::clamp(request.at("width").get<long long>(), kNarrowest, kMostPixels));
    Picture picture;
    picture.title = printable(m_name);
    picture.timeText = m_source->names().timeText();
    picture.window.from = timeOf(request.at("from"));
    picture.window.to = std::max(timeOf(request.at("to")), picture.window.from);
    std::string svg;
    m_source->whileSteady([&] {
        fillLanes(picture, values, m_source->latestTime(), svgWaveWidth(values.signals(), width),
                  kSvgShortestText);
        svg = drawSvg(picture, width);
    });
    return {{"svg", svg}};
}

ViewedRun::Json ViewedRun::valuesAt(const Json& request)
{
    const SignalValues& values = valuesOf(request.at("rows"));
    const long long time = timeOf(request.at("time"));
    Json found = Json::array();
    m_source->whileSteady([&] {
        const ValueText texts = textsOf(values);
        const long long at = std::min(time, m_source->latestTime());
        for (std::size_t i = 0; i < values.signals().size(); ++i) {
            const auto cursor = values.cursor(i, {at, at, 0});
            std::string text;
            const bool fires = values.signals()[i].valueKind->fires();
            while (cursor->next()) {
                text = fires && cursor->time() != time
                           ? std::string()
                           : texts.format(values.signals()[i], cursor->state());
            }
            found.push_back(text);
        }
    });
    return {{"values", found}};
}

ViewedRun::Json ViewedRun::step(const Json& request)
{
    const SignalValues& values = valuesOfRow(request.at("row"));
    const long long time = timeOf(request.at("time"));
    std::optional<long long> found;
    m_source->whileSteady([&] {
        found = request.at("forward").get<bool>() ? values.nextChange(0, time)
                                                  : values.previousChange(0, time);
    });
    return {{"time", found ? Json(std::to_string(*found)) : Json()}};
}

ViewedRun::Json ViewedRun::countChanges(const Json& request)
{
    const SignalValues& values = valuesOfRow(request.at("row"));
    const long long from = timeOf(request.at("from"));
    const long long to = timeOf(request.at("to"));
    unsigned long long changes = 0;
    unsigned long long rises = 0;
    unsigned long long falls = 0;
    m_source->whileSteady([&] {
        const ValueText texts = textsOf(values);
        const Signal& signal = values.signals().front();
        const auto cursor = values.cursor(0, {from, to, 0});
        char before = 0;
        while (changes < kMostChanges && cursor->next()) {
            char letter = 0;
            if (signal.isDigital()) {
                const std::string letters = texts.letters(signal, cursor->state());
                letter = letters.empty() ? 'x' : letters[0];
            }
            if (cursor->time() > from || (signal.valueKind->fires() && cursor->time() == from)) {
                ++changes;
                rises += letter == '1' && before != '1' ? 1 : 0;
                falls += letter == '0' && before != '0' ? 1 : 0;
            }
            before = letter;
        }
    });
    return {{"changes", changes},
            {"rises", rises},
            {"falls", falls},
            {"level", values.signals().front().isDigital()},
            {"all", changes < kMostChanges}};
}

ViewedRun::Json ViewedRun::findValue(const Json& request)
{
    const SignalValues& values = valuesOfRow(request.at("row"));
    const long long time = timeOf(request.at("time"));
    const bool isForward = request.at("forward").get<bool>();
    const std::string wanted = lower(request.at("text").get_ref<const std::string&>());
    std::optional<long long> found;
    bool isAll = true;
    m_source->whileSteady([&] {
        const ValueText texts = textsOf(values);
        const Signal& signal = values.signals().front();
        const TimeWindow window =
            isForward ? TimeWindow{time, m_source->latestTime(), 0} : TimeWindow{0, time, 0};
        const auto cursor = values.cursor(0, window);
        for (unsigned long long i = 0; cursor->next(); ++i) {
            if (i == kMostChanges) {
                isAll = false;
                break;
            }
            const long long at = cursor->time();
            if ((isForward ? at > time : at < time) &&
                lower(texts.format(signal, cursor->state())) == wanted) {
                found = at;
                if (isForward) {
                    break;
                }
            }
        }
    });
    return {{"time", found ? Json(std::to_string(*found)) : Json()}, {"all", isAll}};
}

} // namespace tracewell
