// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include "wave/EventWaveFile.h"
#include "wave/SignalSelection.h"
#include "wave/TreeValues.h"
#include "wave/ValueRows.h"
#include "wave/ValueText.h"

#include "WdbTimeByteValues.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <map>
#include <random>
#include <set>

using namespace tracewell;
using ::testing::HasSubstr;

namespace {

class Values : public Reading
{
protected:
    void recordSmall() const
    {
        RecordingBuilder run(path(), kSmallDesign);
        run.letters(0, "top.clk", "0");
        run.letters(0, "top.dut.data[7:0]", "xxxxxxxx");
        run.letters(10, "top.clk", "1");
        run.real(10, "top.dut.level", 0.5);
        run.letters(12, "top.dut.data[7:0]", "1010010z");
        run.text(20, "top.dut.phase", "idle, \"now\"");
        run.letters(20, "top.clk", "0");
        run.fire(20, "top.tick");
        run.override(25, "top.dut.data[7:0]", 'b', "u");
        run.fire(30, "top.tick");
        run.fire(30, "top.tick");
        run.letters(30, "top.clk", "1");
        run.override(30, "top.dut.data[7:0]", 0, "");
        run.letters(35, "top.dut.n[31:0]", std::string(32, '1'));
    }
};

/// The rows of a window as lines, for comparison.
std::vector<std::string> rowsOf(const SignalValues& values, const TimeWindow& window)
{
    const ValueText text([&](long long id) { return values.lookUp(id); });
    ValueRows rows(values, window, text);
    std::vector<std::string> lines;
    while (rows.next()) {
        std::string line = std::to_string(rows.time());
        for (const ValueRows::Cell& cell : rows.cells()) {
            line += " " + (cell.text.empty() ? "." : cell.text);
        }
        lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST_F(Values, tableHasALineForEachTimeAndAColumnForEachSignal)
{
    recordSmall();
    EXPECT_EQ(output("values", {"top.clk", "top.dut.data", "top.dut.level", "top.tick",
                                "top.dut.phase", "top.dut.n", "top.dut.never"}),
              "time (1 ns)  top.clk  top.dut.data[7:0]  top.dut.level  top.tick  top.dut.phase  "
              "top.dut.n[31:0]  top.dut.never\n"
              "          0  0        xx\n"
              "         10  1        xx                 0.5\n"
              "         12  1        aZ                 0.5\n"
              "         20  0        aZ                 0.5            !         "
              "\"idle, \\\"now\\\"\"\n"
              "         25  0        uu                 0.5                      "
              "\"idle, \\\"now\\\"\"\n"
              "         30  1        aZ                 0.5            !x2       "
              "\"idle, \\\"now\\\"\"\n"
              "         35  1        aZ                 0.5                      "
              "\"idle, \\\"now\\\"\"  -1\n");
}

TEST_F(Values, windowStartsWithWhatHoldsThereAndEndsWhereItEnds)
{
    recordSmall();
    EXPECT_EQ(output("values", {"top.clk", "top.tick", "--from", "0.02us", "--to", "30ns"}),
              "time (1 ns)  top.clk  top.tick\n"
              "         20  0        !\n"
              "         30  1        !x2\n");
    // An event does not fire again where the window starts behind it.
    EXPECT_EQ(output("values", {"top.clk", "top.tick", "--from", "21", "--to", "29"}),
              "time (1 ns)  top.clk  top.tick\n"
              "         20  0\n");
    EXPECT_EQ(output("values", {"top.tick", "--from", "31"}), "time (1 ns)  top.tick\n");
    // A first value behind the start is no part of what holds there.
    EXPECT_EQ(output("values", {"top.clk", "top.dut.level", "--from", "5", "--to", "15"}),
              "time (1 ns)  top.clk  top.dut.level\n"
              "          0  0\n"
              "         10  1        0.5\n");
    EXPECT_EQ(run({"values", path(), "top.clk", "--from", "10", "--to", "5"}).code, 2);
    EXPECT_EQ(run({"values", path(), "top.clk", "--from", "soon"}).code, 2);
    EXPECT_EQ(run({"values", path(), "top.clk", "--radix", "12"}).code, 2);
}

TEST_F(Values, aValueWithANameIsShownByIt)
{
    write("run.vcd", "$timescale 1ns $end $scope module top $end\n"
                     "$attrbegin misc 07 state_t 3 IDLE Run DONE 00 01 10 7 $end\n"
                     "$attrbegin misc 07 \"\" 7 $end\n"
                     "$var reg 4 ! state [3:0] $end $var reg 4 \" other [3:0] $end\n"
                     "$attrbegin misc 07 broken 9 A B 0 1 8 $end $attrbegin misc 07 \"\" 8 $end\n"
                     "$var reg 1 # flag $end $upscope $end $enddefinitions $end\n"
                     "#0 b1 ! b1 \" 1# #5 b10 ! #6 b1111 ! #7 bx ! #8 b0 !\n");
    ASSERT_EQ(run({"import", path("run.vcd"), path()}).code, 0);
    EXPECT_EQ(output("values", {"*", "--csv"}),
              "time,top.state[3:0],top.other[3:0],top.flag\n"
              "0,Run,1,1\n5,DONE,1,1\n6,f,1,1\n7,x,1,1\n8,IDLE,1,1\n");
    EXPECT_EQ(
        output("values", {"top.state", "--radix", "hex", "--csv", "--from", "5", "--to", "5"}),
        "time,top.state[3:0]\n5,2\n");
    EXPECT_EQ(output("values", {"top.state[1:0]", "--csv", "--from", "5", "--to", "5"}),
              "time,top.state[1:0]\n5,2\n");
}

TEST_F(Values, givesCsvAndJson)
{
    recordSmall();
    EXPECT_EQ(output("values", {"top.dut.phase", "top.clk", "--csv", "--from", "20", "--to", "24"}),
              "time,top.dut.phase,top.clk\n20,\"\"\"idle, \\\"\"now\\\"\"\"\"\",0\n");
    const nlohmann::json json =
        nlohmann::json::parse(output("values", {"top.clk", "top.dut.level", "top.dut.data",
                                                "--json", "--to", "12", "--radix", "bin"}));
    EXPECT_EQ(json["timescale"], "1 ns");
    EXPECT_EQ(json["signals"][2]["width"], 8);
    ASSERT_EQ(json["rows"].size(), 3u);
    EXPECT_EQ(json["rows"][0].dump(), R"({"time":0,"values":["0",null,"xxxxxxxx"]})");
    EXPECT_EQ(json["rows"][2].dump(), R"({"time":12,"values":["1","0.5","1010010z"]})");
}

TEST_F(Values, marksDenseStretches)
{
    RecordingBuilder builder(path(), kSmallDesign);
    for (int time = 0; time < 3000; ++time) {
        builder.letters(time, "top.clk", time % 2 ? "1" : "0");
        builder.fire(time, "top.tick");
    }
    builder.letters(9000, "top.clk", "1");
    builder.letters(9500, "top.clk", "0");
    builder.fire(9000, "top.tick");
    builder.close();
    const nlohmann::json json = nlohmann::json::parse(
        output("values", {"top.clk", "top.tick", "--resolution", "100", "--json"}));
    EXPECT_EQ(json["rows"][0].dump(), R"({"time":0,"values":[{"dense":true},{"dense":true}]})");
    EXPECT_EQ(json["rows"].back().dump(), R"({"time":9500,"values":["0",null]})");
    EXPECT_LT(json["rows"].size(), 8u);
    EXPECT_THAT(output("values", {"top.clk", "--resolution", "100"}), HasSubstr("0  ~~~~\n"));
}

TEST_F(Values, denseStretchesAreTheSameInEveryStore)
{
    std::string vcd = "$timescale 1 ns $end\n$var wire 1 a clk $end\n$var event 1 e e $end\n"
                      "$enddefinitions $end\n";
    for (int time = 0; time < 20000; time += time % 7000 == 0 ? 900 : 50) {
        vcd += "#" + std::to_string(time) + "\n" + (time / 50 % 2 ? "1" : "0") + "a\n" +
               (time % 400 ? "" : "1e\n");
    }
    write("run.vcd", vcd + "#30000\n0a\n");
    std::map<std::string, std::set<std::string>> answers;
    for (const char* store : {"events", "indexed", "columns", "transitions"}) {
        ASSERT_EQ(run({"import", "--store", store, path("run.vcd"), path()}).code, 0);
        const auto ask = [&](const char* resolution, const char* from, const char* to) {
            const std::string text = output("values", {"clk", "e", "--csv", "--resolution",
                                                       resolution, "--from", from, "--to", to});
            answers[std::string(resolution) + " " + from + " " + to].insert(text);
            return text;
        };
        // A change before the window is none of its own; one that goes on behind it ends at --to.
        EXPECT_EQ(ask("50", "1001", "1210"), "time,clk,e\n1000,0,\n1050,~~~~,\n1200,0,!\n");
        EXPECT_EQ(ask("49", "1001", "1100"), "time,clk,e\n1000,0,\n1050,1,\n1100,0,\n");
        EXPECT_EQ(ask("60", "40000", "50000"), "time,clk,e\n30000,0,\n");
        EXPECT_EQ(ask("10000000", "0", "50000"),
                  "time,clk,e\n0,~~~~,~~~~\n19600,~~~~,!\n30000,0,\n");
        for (const char* from : {"0", "5000", "7000", "7900", "19950", "29999", "30000"}) {
            for (const char* to : {"30000", "30001", "1000000"}) {
                ask("50", from, to);
                ask("899", from, to);
            }
        }
    }
    for (const auto& [question, texts] : answers) {
        EXPECT_EQ(texts.size(), 1u) << question;
    }
}

/// Random histories of a narrow and a wide vector whose groups are written apart, over many
/// records and buckets.
class RandomHistory : public Reading
{
protected:
    static constexpr const char* kDesign = "$timescale 1 ns $end\n$var wire 1 a bit $end\n"
                                           "$var wire 96 b wide $end\n$enddefinitions $end\n";

    void record(unsigned int seed)
    {
        std::mt19937 random(Tracewell::seeded(seed));
        RecordingBuilder builder(path(), kDesign, 32);
        // The wide vector lies at 0, in groups of 8 bytes; the bit behind it.
        std::string wide(24, '\0');
        bool known = false;
        for (long long time = 0; time < 60000;) {
            time += static_cast<long long>(random() % (random() % 4 == 0 ? 300 : 3));
            if (random() % 2 == 0) {
                m_bit = m_bit == "0" ? "1" : "0";
                builder.letters(time, "bit", m_bit);
                m_bits[time] = m_bit;
            }
            if (random() % 3 == 0) {
                const std::size_t group = known ? random() % 3 * 8 : 0;
                wide[group + random() % 4] = static_cast<char>(random());
                builder.bytes(time, static_cast<long long>(group),
                              known ? wide.substr(group, 8) : wide);
                known = true;
                m_wides[time] = hexOf(wide);
            }
        }
        builder.close();
    }

    static std::string hexOf(const std::string& wide)
    {
        std::string hex;
        for (const std::size_t group : {16u, 8u, 0u}) {
            for (std::size_t i = 4; i-- > 0;) {
                const auto byte = static_cast<unsigned char>(wide[group + i]);
                hex += "0123456789abcdef"[byte >> 4];
                hex += "0123456789abcdef"[byte & 15];
            }
        }
        return hex;
    }

    /// What a window must show, by the plainest means.
    std::vector<std::string> expected(long long from, long long to) const
    {
        std::map<long long, std::string> lines;
        const auto valueAt = [](const std::map<long long, std::string>& history, long long time) {
            const auto next = history.upper_bound(time);
            return next == history.begin() ? std::string(".") : std::prev(next)->second;
        };
        const auto timeAt = [](const std::map<long long, std::string>& history, long long time) {
            // The last real change: repeated values are no changes.
            auto at = history.upper_bound(time);
            while (at != history.begin()) {
                --at;
                if (at == history.begin() || std::prev(at)->second != at->second) {
                    return at->first;
                }
            }
            return -1ll;
        };
        const auto lineAt = [&](long long time) {
            return valueAt(m_bits, time) + " " + valueAt(m_wides, time);
        };
        const long long start = std::max(timeAt(m_bits, from), timeAt(m_wides, from));
        if (start >= 0) {
            lines[start] = lineAt(from);
        }
        for (const auto* history : {&m_bits, &m_wides}) {
            for (auto at = history->upper_bound(from); at != history->end() && at->first <= to;
                 ++at) {
                if (at == history->begin() || std::prev(at)->second != at->second) {
                    lines[at->first] = lineAt(at->first);
                }
            }
        }
        std::vector<std::string> result;
        for (const auto& [time, line] : lines) {
            result.push_back(std::to_string(time) + " " + line);
        }
        return result;
    }

    std::string m_bit = "0";
    std::map<long long, std::string> m_bits;
    std::map<long long, std::string> m_wides;
};

TEST_F(RandomHistory, rowsAreThoseOfAPlainModel)
{
    const unsigned int seed = 3;
    SCOPED_TRACE(seed);
    record(seed);
    const auto file = WaveFile::open(path());
    const auto selected = file->values(selectSignals(*file, {"bit", "wide"}));
    const SignalValues& values = *selected;
    EXPECT_EQ(rowsOf(values, {0, 100000, 0}), expected(0, 100000));
    std::mt19937 random(Tracewell::seeded(seed));
    for (int i = 0; i < 200; ++i) {
        const auto from = static_cast<long long>(random() % 62000);
        const auto to = from + static_cast<long long>(random() % 3000);
        ASSERT_EQ(rowsOf(values, {from, to, 0}), expected(from, to)) << from << " to " << to;
    }
}

TEST_F(RandomHistory, cursorTellsWhatTheReaderTells)
{
    const unsigned int seed = 4;
    SCOPED_TRACE(seed);
    record(seed);
    EventWaveFile file(path());
    const TreeValues values(file, selectSignals(file, {"bit", "wide"}));
    std::mt19937 random(Tracewell::seeded(seed));
    for (int i = 0; i < 300; ++i) {
        const auto below = [&](unsigned int n) { return static_cast<long long>(random() % n); };
        const TimeWindow window{below(60000), 60000, i % 2 ? below(500) : 0};
        for (std::size_t signal = 0; signal < 2; ++signal) {
            std::vector<Tracewell::WdbScalarBTree*> trees = values.trees(signal);
            std::vector<Tracewell::WdbTimeByteValues> answers;
            file.reader().getValueEvents(window.from, window.to, window.resolution, trees, answers);
            const auto cursor = values.cursor(signal, window);
            // The reader may name several answers before the window; what holds is the last.
            std::size_t next = 0;
            while (next + 1 < answers.size() && answers[next + 1].getTime() <= window.from) {
                ++next;
            }
            for (; next < answers.size(); ++next) {
                ASSERT_TRUE(cursor->next());
                ASSERT_EQ(cursor->time(), answers[next].getTime());
                ASSERT_EQ(cursor->state().kind == SignalState::Kind::Dense,
                          answers[next].hasDenseDraw());
                for (unsigned int column = 0; column < trees.size(); ++column) {
                    const Tracewell::WdbByteValue& value = answers[next].getValueAt(column);
                    if (value.getValueType() == Tracewell::WdbByteValue::Value) {
                        ASSERT_EQ(cursor->state().plain[column], value.getValue());
                    }
                }
            }
            EXPECT_FALSE(cursor->next());
        }
    }
}

TEST_F(RandomHistory, nextAndPreviousAreThoseOfAPlainModel)
{
    record(5);
    std::vector<long long> changes;
    for (const std::string& line : expected(-1, 100000)) {
        changes.push_back(std::stoll(line));
    }
    std::mt19937 random(Tracewell::seeded(5));
    for (int i = 0; i < 60; ++i) {
        const long long time = i < 3 ? i : static_cast<long long>(random() % 61000);
        const auto next = std::upper_bound(changes.begin(), changes.end(), time);
        const auto previous = std::lower_bound(changes.begin(), changes.end(), time);
        const std::string after = next == changes.end() ? "none" : std::to_string(*next);
        const std::string before =
            previous == changes.begin() ? "none" : std::to_string(*std::prev(previous));
        ASSERT_EQ(output("next", {std::to_string(time), "bit", "wide"}), after + "\n") << time;
        ASSERT_EQ(output("previous", {std::to_string(time), "bit", "wide"}), before + "\n") << time;
    }
}

TEST_F(Values, nextAndPreviousKnowSignalsThatStopEarly)
{
    recordSmall();
    // The level changed last at 10, long before the clock.
    EXPECT_EQ(output("next", {"10", "top.dut.level", "top.clk"}), "20\n");
    EXPECT_EQ(output("next", {"10", "top.dut.level"}), "none\n");
    EXPECT_EQ(output("next", {"10", "top.dut.never"}), "none\n");
    EXPECT_EQ(output("previous", {"10", "top.dut.level"}), "none\n");
    // Between two units of time.
    EXPECT_EQ(output("previous", {"10.5ns", "top.clk"}), "10\n");
    EXPECT_EQ(output("next", {"9.5ns", "top.clk"}), "10\n");
    // An override is a change as well.
    EXPECT_EQ(output("next", {"12", "top.dut.data", "--json"}),
              "{\"time\":25,\"text\":\"25 ns\",\"signals\":[\"top.dut.data[7:0]\"]}\n");
    EXPECT_EQ(output("next", {"99", "top.clk", "--json"}),
              "{\"time\":null,\"text\":null,\"signals\":[]}\n");
}
