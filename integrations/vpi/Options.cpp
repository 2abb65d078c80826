// SPDX-License-Identifier: BSD-3-Clause

#include "Options.h"

#include "recorder/OptionValues.h"
#include "text/NearestWord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace tracewell::vpi {

namespace {

constexpr std::string_view kPrefix = "+tracewell";
/// Where others have a word behind the prefix.
constexpr std::string_view kFile = "=";
/// So many letters may differ in an argument that is taken for a mistyped one of ours.
constexpr std::size_t kMostDifferences = 2;

bool isLetter(char c)
{
    return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

/// What somebody may have meant by an argument that does not begin as ours do, or has more letters
/// before it goes on; empty when it looks like that of somebody else.
std::string meantArgument(const std::string& argument)
{
    const std::string ours(kPrefix.substr(1));
    if (argument.empty() || argument[0] != '+') {
        return {};
    }
    const auto end = std::find_if_not(argument.begin() + 1, argument.end(), isLetter);
    const std::string word = lowerCase(std::string(argument.begin() + 1, end));
    if (word.compare(0, 2, ours, 0, 2) != 0 ||
        editDistance(word, ours, kMostDifferences) > kMostDifferences) {
        return {};
    }
    const std::string meant = std::string(kPrefix) + std::string(end, argument.end());
    return meant == argument ? "" : meant;
}

class Reader
{
public:
    Reader(Options& options, const std::function<void(const std::string&)>& complain)
        : m_options(options), m_complain(complain)
    {}

    void take(const std::string& source, std::string_view key, const std::string& value)
    {
        if (key == kFile) {
            if (require(!value.empty(), source, "names no file; write +tracewell=run.wdb")) {
                m_options.isAsked = true;
                m_options.recorder.output = value;
            }
        } else if (key == "live") {
            takeChannel(source, value);
        } else if (key == "scope") {
            takeScopes(source, value);
        } else if (key == "start" || key == "stop" || key == "last") {
            takeTime(source, value,
                     key == "start"  ? m_options.start
                     : key == "stop" ? m_options.stop
                                     : m_options.last);
        } else if (key == "sync") {
            const std::optional<double> seconds = parseSeconds(value);
            if (require(seconds.has_value(), source, kNoSeconds)) {
                m_options.recorder.syncSeconds = *seconds;
            }
        } else if (key == "store") {
            const std::optional<Store> store = findRecorderStore(value);
            if (require(store.has_value(), source, kNoStore)) {
                m_options.recorder.store = *store;
            }
        } else {
            takeUnknown(source, key);
        }
    }
    /// One that need not be for the recording at all.
    void takeStrange(const std::string& argument)
    {
        if (const std::string meant = meantArgument(argument); !meant.empty()) {
            m_isGood = false;
            m_complain(
                fmt::format("{} is not for the recording (did you mean {}?)", argument, meant));
        }
    }
    /// Whether no argument was complained of.
    bool isGood() const { return m_isGood; }

private:
    bool require(bool isGood, const std::string& source, const char* what)
    {
        if (!isGood) {
            m_isGood = false;
            m_complain(fmt::format("{} {}", source, what));
        }
        return isGood;
    }

    void takeUnknown(const std::string& source, std::string_view key)
    {
        const bool isJoined = !key.empty() && isLetter(key.front());
        std::string meant =
            nearestWord(key.substr(isJoined || key.empty() ? 0 : 1),
                        {"live", "scope", "start", "stop", "last", "sync", "store"});
        if (!meant.empty()) {
            meant = fmt::format("{}-{}{}", kPrefix, meant,
                                source.substr(std::min(source.find('='), source.size())));
        } else if (isJoined) {
            meant = meantArgument(source);
        }
        m_isGood = false;
        m_complain(fmt::format(
            "{} is no option{}; there are live, scope, start, stop, last, sync and store", source,
            meant.empty() ? "" : fmt::format(" (did you mean {}?)", meant)));
    }

    void takeTime(const std::string& source, const std::string& value, TimeOption& option)
    {
        const std::string name = source.substr(0, source.find('='));
        if (isTimeArgument(value)) {
            option = {name, value};
        } else {
            m_isGood = false;
            m_complain(fmt::format("{}: {}", name, whyNoTime(value)));
        }
    }

    void takeChannel(const std::string& source, const std::string& value)
    {
        const std::optional<int> number = parseChannel(value);
        if (require(number.has_value(), source, kNoChannel)) {
            m_options.isAsked = true;
            m_options.recorder.output.clear();
            m_options.recorder.channel = *number;
        }
    }

    void takeScopes(const std::string& source, const std::string& value)
    {
        for (std::size_t at = 0; at <= value.size();) {
            const std::size_t end = std::min(value.find(',', at), value.size());
            std::string name = value.substr(at, end - at);
            at = end + 1;
            ScopeChoice choice;
            if (const std::size_t colon = name.rfind(':'); colon != std::string::npos) {
                if (const auto levels = parseNumber<unsigned int>(name.substr(colon + 1))) {
                    choice.levels = *levels;
                    name.resize(colon);
                }
            }
            if (!require(!name.empty(), source, "names no scope; write top.dut or top.dut:2")) {
                return;
            }
            choice.name = name;
            m_options.scopes.push_back(choice);
        }
    }

    Options& m_options;
    bool m_isGood = true;
    const std::function<void(const std::string&)>& m_complain;
};

} // namespace

Options readOptions(const std::vector<std::string>& arguments,
                    const std::function<const char*(const char*)>& environment,
                    const std::function<void(const std::string&)>& complain)
{
    Options options;
    Reader reader(options, complain);
    static constexpr std::pair<const char*, std::string_view> kVariables[] = {
        {"TRACEWELL", kFile},         {"TRACEWELL_LIVE", "live"},  {"TRACEWELL_SCOPE", "scope"},
        {"TRACEWELL_START", "start"}, {"TRACEWELL_STOP", "stop"},  {"TRACEWELL_LAST", "last"},
        {"TRACEWELL_SYNC", "sync"},   {"TRACEWELL_STORE", "store"}};
    for (const auto& [variable, key] : kVariables) {
        const char* const value = environment(variable);
        // An empty one is none, but for the channel, which has a default.
        if (value && (*value != 0 || key == "live")) {
            reader.take(fmt::format("{}={}", variable, value), key, value);
        }
    }
    bool isFirstScope = true;
    std::string output;
    for (const std::string& argument : arguments) {
        if (argument.compare(0, kPrefix.size(), kPrefix) != 0) {
            reader.takeStrange(argument);
            continue;
        }
        const std::size_t equals = std::min(argument.find('='), argument.size());
        std::string key = argument.substr(kPrefix.size(), equals - kPrefix.size());
        const std::string value = equals < argument.size() ? argument.substr(equals + 1) : "";
        if (!key.empty() && key[0] == '-') {
            key.erase(0, 1);
        } else if (key.empty()) {
            key = kFile;
        }
        if (key == kFile || key == "live") {
            if (!output.empty() && output != argument) {
                complain(fmt::format("{} does not count beside {}, which comes later", output,
                                     argument));
            }
            output = argument;
        }
        // Arguments stand for more than the environment does.
        if (key == "scope" && isFirstScope) {
            options.scopes.clear();
            isFirstScope = false;
        }
        reader.take(argument, key, value);
        if (key != kFile && key != "live") {
            options.companion = argument;
        }
    }
    if (!reader.isGood()) {
        options.companion.clear();
    }
    return options;
}

} // namespace tracewell::vpi
