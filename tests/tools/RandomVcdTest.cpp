// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"
#include "testing/Seed.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

class RandomVcd
{
public:
    RandomVcd(unsigned int seed, bool hasStrings)
        : m_random(Tracewell::seeded(seed)), m_hasStrings(hasStrings)
    {}

    std::string make(std::size_t changes)
    {
        m_text = "$timescale 10 ps $end\n";
        declare();
        long long time = 0;
        for (std::size_t i = 0; i < changes; ++i) {
            if (i != 0 || oneIn(2)) {
                time += oneIn(20) ? pick(1LL << 40) : pick(5);
                m_text += fmt::format("#{}\n", time);
            }
            for (long long k = pick(6); k > 0; --k) {
                change(m_signals[static_cast<std::size_t>(
                    pick(static_cast<long long>(m_signals.size())))]);
            }
        }
        return m_text;
    }

private:
    struct Signal
    {
        std::string code;
        std::string kind;
        unsigned int width;
        std::string letters;
    };

    long long pick(long long end)
    {
        return std::uniform_int_distribution<long long>(0, end - 1)(m_random);
    }
    bool oneIn(long long n) { return pick(n) == 0; }

    void declare()
    {
        static const char* const kKinds[] = {"wire", "reg",    "integer", "real",
                                             "wire", "string", "event",   "tri"};
        static const unsigned int kWidths[] = {1, 1, 2, 8, 31, 32, 33, 64, 65, 300, 5000};
        int depth = 0;
        const long long count = 1 + pick(60);
        for (long long i = 0; i < count; ++i) {
            if (oneIn(4)) {
                m_text += fmt::format("$scope module m{} $end\n", pick(3));
                ++depth;
            } else if (depth > 0 && oneIn(4)) {
                m_text += "$upscope $end\n";
                --depth;
            }
            if (!m_signals.empty() && oneIn(8)) {
                const Signal& alias =
                    m_signals[static_cast<std::size_t>(pick(static_cast<long long>(i)))];
                m_signals.push_back(alias);
            } else {
                const char* kind = kKinds[pick(8)];
                if (!m_hasStrings && kind == std::string("string")) {
                    kind = "reg";
                }
                std::string code = fmt::format("{}", i);
                code += oneIn(3) ? "longer" : "";
                m_signals.push_back(
                    {code, kind, kWidths[pick(11)], oneIn(4) ? "01xzuwlh-" : "01xz"});
            }
            const Signal& signal = m_signals.back();
            m_text += fmt::format("$var {} {} {} s{} [{}:0] $end\n", signal.kind, signal.width,
                                  signal.code, pick(40), signal.width - 1);
        }
        while (depth-- > 0) {
            m_text += "$upscope $end\n";
        }
        m_text += "$enddefinitions $end\n";
    }

    std::string letters(const Signal& signal)
    {
        const auto length = static_cast<std::size_t>(1 + pick(signal.width));
        std::string text;
        const bool plain = oneIn(2);
        while (text.size() < length) {
            const auto range = plain ? 2 : static_cast<long long>(signal.letters.size());
            text += signal.letters[static_cast<std::size_t>(pick(range))];
        }
        return text;
    }

    void change(const Signal& signal)
    {
        if (signal.kind == "real") {
            m_text += fmt::format(
                "r{} {}\n",
                std::ldexp(static_cast<double>(pick(1LL << 53)), static_cast<int>(pick(200)) - 100),
                signal.code);
        } else if (signal.kind == "string") {
            m_text += fmt::format("s{} {}\n",
                                  std::string(static_cast<std::size_t>(pick(oneIn(30) ? 4000 : 20)),
                                              static_cast<char>('a' + pick(26))),
                                  signal.code);
        } else if (signal.kind == "event") {
            m_text += fmt::format("1{}\n", signal.code);
        } else if (signal.width == 1 || oneIn(10)) {
            m_text += letters(signal)[0] + signal.code + "\n";
        } else {
            m_text += fmt::format("b{} {}\n", letters(signal), signal.code);
        }
    }

    std::mt19937 m_random;
    bool m_hasStrings;
    std::string m_text;
    std::vector<Signal> m_signals;
};

TEST_F(ImportExport, randomRecordingsComeBackWhateverTheStoreAndDivision)
{
    const unsigned int start = std::random_device{}();
    for (unsigned int i = 0; i < 60; ++i) {
        const unsigned int seed = start + i;
        SCOPED_TRACE(fmt::format("seed {}", seed));
        static const std::vector<std::string> kOptions[] = {
            {"--division", "1"},    {"--store", "transitions"}, {"--division", "7"},
            {"--store", "indexed"}, {"--division", "1000000"},  {"--store", "transitions"},
            {"--store", "columns"}};
        const std::vector<std::string>& options = kOptions[i % 7];
        write("in.vcd", RandomVcd(seed, options[1] != "transitions").make(i % 20 < 2 ? 3000 : 60));
        expectRoundTrip(options);
        if (HasFailure()) {
            return;
        }
    }
}

/// Where two histories differ first; nothing when they do not.
std::optional<long long> firstDifference(const PlainVcd::Variable& a, const PlainVcd::Variable& b)
{
    for (std::size_t i = 0; i < std::max(a.history.size(), b.history.size()); ++i) {
        if (i == a.history.size() || i == b.history.size()) {
            return i == a.history.size() ? b.history[i].first : a.history[i].first;
        }
        if (a.history[i] != b.history[i]) {
            return std::min(a.history[i].first, b.history[i].first);
        }
    }
    return std::nullopt;
}

TEST_F(ImportExport, diffFindsTheFirstDifferenceOfEachSignal)
{
    const unsigned int start = std::random_device{}();
    for (unsigned int i = 0; i < 25; ++i) {
        const unsigned int seed = start + i;
        SCOPED_TRACE(fmt::format("seed {}", seed));
        static const char* const kStores[] = {"events", "indexed", "columns", "transitions"};
        const std::string text = RandomVcd(seed, i % 4 != 3).make(300);
        write("in.vcd", text);
        ASSERT_EQ(import({"--store", kStores[i % 4]}).code, 0);
        // Some lines of the body are missing in the other run.
        std::mt19937 random(Tracewell::seeded(seed));
        std::string other = text.substr(0, text.find("$enddefinitions"));
        std::istringstream body(text.substr(other.size()));
        for (std::string line; std::getline(body, line);) {
            if (line[0] == '#' || line[0] == '$' || random() % 200 != 0) {
                other += line + "\n";
            }
        }
        write("other.vcd", other);
        const Result result = run({"diff", path("out.wdb"), path("other.vcd"), "--json"});
        const auto json = nlohmann::json::parse(result.out);
        const PlainVcd a = readPlainVcd(path("in.vcd"));
        const PlainVcd b = readPlainVcd(path("other.vcd"));
        std::multiset<long long> expected;
        for (std::size_t k = 0; k < a.variables.size(); ++k) {
            if (const auto time = firstDifference(a.variables[k], b.variables[k])) {
                expected.insert(*time);
            }
        }
        std::multiset<long long> found;
        for (const auto& difference : json["differences"]) {
            found.insert(difference["time"].get<long long>());
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(result.code, expected.empty() ? 0 : 1) << result.error;
        EXPECT_EQ(json["compared"], a.variables.size());
    }
}

} // namespace
