// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

/// What an expression comes to is held against other evaluators by search_oracle.py and
/// search_simulated.py; here is what stands around it.
class SearchCommand : public Reading
{
protected:
    void SetUp() override
    {
        write(
            "run.vcd",
            "$timescale 1 ns $end $scope module top $end\n"
            "$var wire 1 ! clk $end $var wire 1 r req $end $var wire 1 g gnt $end\n"
            "$var wire 8 d data [7:0] $end $var real 64 v volt $end $var event 1 e tick $end\n"
            "$var string 1 s text $end $var wire 1 0 split [0] $end $var wire 1 1 split [1] $end\n"
            "$scope module dut $end $var wire 4 c data [3:0] $end $var wire 2 m mem[0] [1:0] $end\n"
            "$var wire 2 n mem[1] [1:0] $end $var wire 1 x \\odd+name $end $var wire 1 l late "
            "$end\n"
            "$upscope $end $upscope $end $enddefinitions $end\n"
            "#0 0! 0r 0g b0 d r0.5 v sidle s b1000 c b01 m b10 n 0x 00 11\n"
            "#5 1! 1r b101 d\n#10 0!\n#15 1! b111 d 1e\n#20 0! 1g srun s r2.5 v\n#25 1! 0r 0g\n"
            "#30 0! b1x d 1x\n#35 1! 1e 1r\n#40 0! 0r\n#45 1! 1l\n#50 0!\n#60\n");
    }

    /// "BEGIN-END" of each match; "!" and the complaint for what is refused.
    std::vector<std::string> find(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"search", path("run.vcd")});
        arguments.push_back("--json");
        const Result result = run(arguments);
        std::vector<std::string> found;
        if (result.code > 1 || !result.error.empty()) {
            return {"!" + result.error};
        }
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            const nlohmann::json json = nlohmann::json::parse(line);
            if (json.contains("time")) {
                found.push_back(std::to_string(json["time"].get<long long>()) + "-" +
                                (json["end"].is_null() ? "" : json["end"].dump()));
            } else {
                EXPECT_EQ(json["matches"].get<std::size_t>(), found.size());
            }
        }
        EXPECT_EQ(result.code, found.empty() ? 1 : 0);
        return found;
    }
};

TEST_F(SearchCommand, findsStretchesMomentsAndRows)
{
    EXPECT_THAT(find({"req && !gnt"}), ElementsAre("5-20", "35-40"));
    EXPECT_THAT(find({"req && !gnt", "--for", "10ns"}), ElementsAre("5-20"));
    EXPECT_THAT(find({"req && !gnt", "--for", "16"}), IsEmpty());
    // What was true before --from begins there; nothing behind --to is seen, and no end either.
    EXPECT_THAT(find({"req", "--from", "7"}), ElementsAre("7-25", "35-40"));
    EXPECT_THAT(find({"req", "--from", "25", "--to", "36"}), ElementsAre("35-"));
    // Without a value it is unknown, from the start on.
    EXPECT_THAT(find({"$isunknown(late)"}), ElementsAre("0-45"));
    EXPECT_THAT(find({"$changed(top.data)"}), ElementsAre("0-0", "5-5", "15-15", "30-30"));
    EXPECT_THAT(find({"tick"}), ElementsAre("15-15", "35-35"));
    EXPECT_THAT(find({"volt > 1.5 && text == \"run\""}), ElementsAre("20-"));
    EXPECT_THAT(find({"req", "--on", "posedge clk"}), ElementsAre("15-15", "25-25"));
    EXPECT_THAT(find({"req", "--on", "posedge clk", "--sample", "at"}),
                ElementsAre("5-5", "15-15", "35-35"));
    EXPECT_THAT(find({"req", "--on", "posedge clk", "--for", "10"}), ElementsAre("15-25"));
    // At 20 the clock falls while it is requested; at 35 the event fires. What counts is before.
    EXPECT_THAT(find({"top.data == 7", "--on", "negedge clk iff req or tick"}),
                ElementsAre("20-20"));
    EXPECT_THAT(find({"$past(req)", "--on", "@(posedge clk)"}), ElementsAre("25-25", "35-35"));
}

TEST_F(SearchCommand, followsSequencesAndPairs)
{
    const std::vector<std::string> atEdges{"--on", "posedge clk", "--sample", "at"};
    const auto sequence = [&](const std::string& text) {
        std::vector<std::string> arguments{text};
        arguments.insert(arguments.end(), atEdges.begin(), atEdges.end());
        return find(arguments);
    };
    // Samples at 5 15 25 35 45; data 5 7 7 x x, req 1 1 0 1 0.
    EXPECT_THAT(sequence("req ##1 !req"), ElementsAre("15-25", "35-45"));
    EXPECT_THAT(sequence("req ##[1:2] !req"), ElementsAre("5-25", "15-25", "35-45"));
    EXPECT_THAT(sequence("top.data == 5 ##[1:$] !req ##1 req"), ElementsAre("5-35"));
    EXPECT_THAT(sequence("req ##0 top.data == 7"), ElementsAre("15-15"));
    EXPECT_THAT(sequence("top.data == 5 ##[*] top.data == 5"), ElementsAre("5-5"));
    EXPECT_THAT(sequence("req ##3 req"), ElementsAre("5-35"));

    EXPECT_THAT(find({"--within", "req", "gnt", "15"}), ElementsAre("5-20", "35-"));
    EXPECT_THAT(find({"--within", "req", "gnt", "14"}), ElementsAre("5-", "35-"));
    EXPECT_THAT(find({"--within", "req", "gnt", "15", "--missed"}), ElementsAre("35-"));
    EXPECT_THAT(find({"--within", "tick", "$rose(req)", "20ns"}), ElementsAre("15-35", "35-35"));
    // The run ends before it is too late for the second one.
    EXPECT_THAT(run({"search", path("run.vcd"), "--within", "req", "gnt", "30", "--json"}).out,
                HasSubstr("{\"time\":35,\"end\":null,\"open\":true"));
}

TEST_F(SearchCommand, findsNamesAsTheLanguageDoes)
{
    EXPECT_THAT(find({"top.dut.data == 8"}), ElementsAre("0-"));
    EXPECT_THAT(find({"data == 8", "--scope", "top.dut"}), ElementsAre("0-"));
    // From the scope on outwards.
    EXPECT_THAT(find({"gnt", "--scope", "top.dut"}), ElementsAre("20-25"));
    EXPECT_THAT(find({"mem[1][1] && dut.mem[0] == 1"}), ElementsAre("0-"));
    EXPECT_THAT(find({"dut.\\odd+name && 1"}), ElementsAre("30-"));
    // Bits that were declared one by one are a vector.
    EXPECT_THAT(find({"split == 2 && split[1]"}), ElementsAre("0-"));
    EXPECT_THAT(find({"data[0]"})[0], HasSubstr("2 signals go by the name \"data\" "
                                                "(\"top.data[7:0]\", \"top.dut.data[3:0]\")"));
    EXPECT_THAT(find({"gnd"})[0], HasSubstr("no signal \"gnd\"; did you mean top.gnt"));
    EXPECT_THAT(find({"req", "--scope", "top.cpu"})[0], HasSubstr("no scope \"top.cpu\""));
}

TEST_F(SearchCommand, showsValuesAndStops)
{
    const auto out = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"search", path("run.vcd")});
        return run(arguments);
    };
    EXPECT_EQ(out({"req", "--show", "top.data", "--show", "mem[1]", "--radix", "dec"}).out,
              "time (1 ns)  until  top.data[7:0]  top.dut.mem[1][1:0]\n"
              "          5     25  5              2\n"
              "         35     40  X              2\n");
    EXPECT_EQ(out({"gnt", "--on", "posedge clk", "--show", "data[2:0]", "--scope", "top"}).out,
              "time (1 ns)  top.data[2:0]\n"
              "         25  7\n");
    EXPECT_EQ(out({"req", "--first"}).out, "time (1 ns)  until\n          5      -\n");
    EXPECT_EQ(out({"clk", "--count"}).out, "5\n");
    const Result cut = out({"clk", "--max", "2", "--json"});
    EXPECT_THAT(cut.out, HasSubstr("{\"matches\":2,\"cut\":true,\"timescale\":\"1 ns\"}"));
    EXPECT_THAT(cut.error, HasSubstr("there are more than 2 matches"));
    EXPECT_EQ(cut.code, 0);
}

/// req + req + ...
std::string chain(const std::string& sign, int count)
{
    std::string text = "req";
    for (int i = 1; i < count; ++i) {
        text += sign + "req";
    }
    return text;
}

TEST_F(SearchCommand, takesConditionsThatProgramsMade)
{
    const Result one = run({"search", path("run.vcd"), "req", "--count"});
    for (const char* sign : {"||", "&&"}) {
        const Result many = run({"search", path("run.vcd"), chain(sign, 20000), "--count"});
        EXPECT_EQ(many.code, 0) << many.error;
        EXPECT_EQ(many.out, one.out);
    }
}

TEST_F(SearchCommand, saysWhereAnExpressionIsWrong)
{
    const std::pair<std::vector<std::string>, const char*> kWrong[] = {
        {{"req &&"}, "a signal, a number or a parenthesis is expected at the end of \"req &&\""},
        {{"req gnt"}, "an operator is expected at character 5, \"gnt\""},
        {{"(req"}, "\")\" is expected at the end"},
        {{"data == 8'hg"}, "a number without digits"},
        {{"data[0:7] == 1", "--scope", "top"},
         "is declared as [7:0]; a part of it goes the same way"},
        {{"text"}, "a text is neither true nor false"},
        {{"volt & 1"}, "\"&\" has no meaning for real numbers"},
        {{"$display(req)"}, "the functions are $past"},
        {{"1 == 1"}, "no signal is named"},
        {{"{9999999{req}}"}, "braces hold 1 to"},
        {{"req ##1 gnt"}, "say with --on when to take them"},
        {{"$rose(req)", "--for", "5"}, "does not last"},
        {{"req", "--on", "posedge"}, "--on: a signal, a number or a parenthesis is expected"},
        {{"req", "--sample", "at"}, "--on"},
        {{std::string(5000, '(') + "req"}, "too many parts lie in each other"},
        {{std::string(5000, '!') + "req"}, "too many parts lie in each other"},
        {{chain("+", 50000)}, "too many operators follow each other"},
        {{chain("->", 50000)}, "too many parts lie in each other"},
        {{}, "what to look for is missing"}};
    for (const auto& [arguments, complaint] : kWrong) {
        std::vector<std::string> words = arguments;
        words.insert(words.begin(), {"search", path("run.vcd")});
        const Result result = run(words);
        EXPECT_EQ(result.code, 2) << complaint;
        EXPECT_THAT(result.error, HasSubstr(complaint));
        EXPECT_THAT(result.out, IsEmpty());
    }
}

} // namespace
