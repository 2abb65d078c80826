// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class Stats : public Reading
{
protected:
    /// By name; the last line under "".
    std::map<std::string, nlohmann::json> count(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> words{"stats", path("run.vcd"), "--json"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Result result = run(words);
        EXPECT_EQ(result.code, 0) << result.error;
        std::map<std::string, nlohmann::json> lines;
        std::istringstream text(result.out);
        for (std::string line; std::getline(text, line);) {
            const nlohmann::json json = nlohmann::json::parse(line);
            lines[json.value("name", "")] = json;
        }
        return lines;
    }
};

/// The values of one time, letter by letter.
TEST_F(Stats, agreeWithACountOfTheLettersAtEachTime)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE(fmt::format("seed {}", seed));
    std::mt19937 random(Tracewell::seeded(seed));
    const std::map<std::string, unsigned int> kWidths{{"s", 1}, {"v", 3}, {"w", 70}};
    std::string text = "$timescale 1 ns $end $scope module t $end $var wire 1 s s $end\n"
                       "$var wire 3 v v [2:0] $end $var reg 70 w w [0:69] $end\n"
                       "$upscope $end $enddefinitions $end\n";
    constexpr int kEnd = 400;
    std::vector<std::map<std::string, std::string>> values(kEnd + 1);
    std::map<std::string, std::string> now;
    for (const auto& [name, width] : kWidths) {
        now[name] = std::string(width, 'x');
    }
    for (int time = 0; time < kEnd; ++time) {
        text += fmt::format("#{}\n", time);
        for (const auto& [name, width] : kWidths) {
            if (time < 3 || random() % 3 != 0) {
                continue;
            }
            for (char& letter : now[name]) {
                letter = random() % 2 == 0 ? letter : "01xz"[random() % (time % 2 == 0 ? 2 : 4)];
            }
            text += (width > 1 ? "b" + now[name] + " " : now[name]) + name + "\n";
        }
        values[static_cast<std::size_t>(time)] = now;
    }
    values[kEnd] = now;
    write("run.vcd", text + fmt::format("#{}\n", kEnd));

    // Of a recording in columns most signals are counted by themselves.
    ASSERT_EQ(run({"import", "--store", "columns", path("run.vcd"), path("columns.wdb")}).code, 0);
    for (const char* form : {"--json", "--csv"}) {
        EXPECT_EQ(run({"stats", path("columns.wdb"), form, "--from", "31"}).out,
                  run({"stats", path("run.vcd"), form, "--from", "31"}).out);
    }
    ASSERT_EQ(run({"stats", path("columns.wdb"), "--saif", path("a.saif")}).code, 0);
    ASSERT_EQ(run({"stats", path("run.vcd"), "--saif", path("b.saif")}).code, 0);
    EXPECT_EQ(read("a.saif"), read("b.saif"));

    for (const auto& [from, to] : {std::pair(0, kEnd), std::pair(57, 311)}) {
        const auto lines = count({"--from", std::to_string(from), "--to", std::to_string(to)});
        for (const auto& [name, width] : kWidths) {
            unsigned long long changes = 0;
            unsigned long long rising = 0;
            unsigned long long falling = 0;
            std::map<std::string, unsigned long long> times{{"0", 0}, {"1", 0}, {"x", 0}, {"z", 0}};
            for (int time = from; time <= to; ++time) {
                const std::string& value = values[static_cast<std::size_t>(time)][name];
                const auto has = [&](char c) { return value.find(c) != std::string::npos; };
                times[has('x') ? "x" : has('z') ? "z" : has('1') ? "1" : "0"] += time < to ? 1 : 0;
                if (time == from) {
                    continue;
                }
                const std::string& before = values[static_cast<std::size_t>(time) - 1][name];
                changes += value != before ? 1 : 0;
                for (unsigned int i = 0; i < width; ++i) {
                    rising += before[i] == '0' && value[i] == '1' ? 1 : 0;
                    falling += before[i] == '1' && value[i] == '0' ? 1 : 0;
                }
            }
            const std::string label = "t." + name +
                                      (name == "v"   ? "[2:0]"
                                       : name == "w" ? "[0:69]"
                                                     : "");
            const nlohmann::json& line = lines.at(label);
            EXPECT_EQ(line["rising"], rising) << label;
            EXPECT_EQ(line["falling"], falling) << label;
            EXPECT_EQ(line["time"], nlohmann::json(times)) << label;
            // Its first value is a change too, though it may be x, as it was without one.
            const auto counted = line["changes"].get<unsigned long long>();
            EXPECT_TRUE(counted == changes || (from == 0 && counted == changes + 1)) << label;
        }
    }
}

TEST_F(Stats, writesEachBitWithItsNameToSaif)
{
    write("run.vcd", "$timescale 10 ns $end $scope module top $end $var wire 1 a clk $end\n"
                     "$var wire 2 b \\odd.bus [1:0] $end $var real 64 r volt $end\n"
                     "$var event 1 e tick $end $scope module u[0] $end $var wire 1 a ck $end\n"
                     "$upscope $end $scope module empty $end $upscope $end $upscope $end\n"
                     "$enddefinitions $end\n#0 0a bx1 b r1 r\n#4 1a 1e b00 b\n#6 0a 1e 1e\n"
                     "#9 1a b1z b r2 r\n#10\n");
    ASSERT_EQ(run({"stats", path("run.vcd"), "--saif", path("run.saif")}).out, "");
    EXPECT_EQ(read("run.saif").substr(read("run.saif").find("  (DIVIDER")),
              "  (DIVIDER /)\n"
              "  (TIMESCALE 10 ns)\n"
              "  (DURATION 10)\n"
              "  (INSTANCE top\n"
              "    (NET\n"
              "      (clk (T0 7) (T1 3) (TX 0) (TZ 0) (TC 3) (IG 0))\n"
              "      (odd\\.bus\\[1\\] (T0 5) (T1 1) (TX 4) (TZ 0) (TC 1) (IG 0))\n"
              "      (odd\\.bus\\[0\\] (T0 5) (T1 4) (TX 0) (TZ 1) (TC 1) (IG 0))\n"
              "    )\n"
              "    (INSTANCE u\\[0\\]\n"
              "      (NET\n"
              "        (ck (T0 7) (T1 3) (TX 0) (TZ 0) (TC 3) (IG 0))\n"
              "      )\n"
              "    )\n"
              "  )\n"
              ")\n");
    const auto lines = count({});
    EXPECT_EQ(lines.at("top.tick")["changes"], 3);
    EXPECT_EQ(lines.at("top.volt")["changes"], 1);
    EXPECT_TRUE(lines.at("top.volt")["time"].is_null());
    EXPECT_EQ(lines.at("")["to"], 10);
}

TEST_F(Stats, sortsDrawsAndSaysWhatIsWrong)
{
    write("run.vcd", "$timescale 1 ns $end $scope module top $end $var wire 1 a few $end\n"
                     "$var wire 1 b many $end $upscope $end $enddefinitions $end\n"
                     "#0 0a 0b\n#1 1b\n#2 0b 1a\n#1000 1b\n#2000\n");
    const std::string table = run({"stats", path("run.vcd"), "--sort", "changes"}).out;
    EXPECT_LT(table.find("top.many"), table.find("top.few"));
    EXPECT_THAT(table, HasSubstr("50.0 %"));
    EXPECT_EQ(run({"stats", path("run.vcd"), "--heat", path("run.svg")}).code, 0);
    EXPECT_THAT(read("run.svg"), HasSubstr("top.many: 3 changes"));
    EXPECT_THAT(run({"stats", path("run.vcd"), "--csv", "top.few"}).out,
                HasSubstr("top.few,wire,1,1,1,0,2,1998,0,0,2,2\n"));

    write("kept.saif", "kept");
    const Result none = run({"stats", path("run.vcd"), "nothing", "--saif", path("kept.saif")});
    EXPECT_EQ(none.code, 1);
    EXPECT_THAT(none.error, HasSubstr("no signal \"nothing\""));
    EXPECT_EQ(read("kept.saif"), "kept");
    EXPECT_EQ(run({"stats", path("run.vcd"), "--sort", "most"}).code, 2);
    EXPECT_EQ(run({"stats", path("run.vcd"), "--heat", path("run.gif")}).code, 1);
}

} // namespace
