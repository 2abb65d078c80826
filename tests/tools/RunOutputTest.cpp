// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// What export, slice and merge make of runs.
class RunOutput : public ImportExport
{
protected:
    /// The FST as a tool of others reads it.
    std::string asVcd(const std::string& fst) const
    {
        const std::string command = "fst2vcd -e " + path(fst) + " -o " + path(fst + ".vcd");
        EXPECT_EQ(std::system((command + " > /dev/null").c_str()), 0);
        return fst + ".vcd";
    }
    static bool hasFstReader() { return std::system("command -v fst2vcd > /dev/null") == 0; }

    void expectSame(const std::string& a, const std::string& b,
                    const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> arguments = {"diff", path(a), path(b)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Result result = run(arguments);
        EXPECT_EQ(result.code, 0) << result.out << result.error;
    }
    void expectMade(const std::vector<std::string>& arguments) const
    {
        const Result result = run(arguments);
        EXPECT_EQ(result.code, 0) << arguments[0] << ": " << result.error;
    }
};

const std::string kRun = "$timescale 10 ns $end\n"
                         "$attrbegin misc 07 state 2 IDLE BUSY 00 01 1 $end\n"
                         "$scope module top $end\n"
                         "$attrbegin misc 08 direction 1 $end\n"
                         "$var wire 1 ! clk $end\n"
                         "$scope module sub $end\n"
                         "$attrbegin misc 07 \"\" 1 $end\n"
                         "$var reg 2 \" state [1:0] $end\n"
                         "$var real 64 # level $end\n"
                         "$upscope $end\n"
                         "$scope begin other $end\n"
                         "$var reg 70 $ wide [69:0] $end\n"
                         "$var string 1 % text $end\n"
                         "$var event 1 & tick $end\n"
                         "$upscope $end\n"
                         "$upscope $end\n"
                         "$enddefinitions $end\n"
                         "#0\n0!\nb0 \"\nr0.5 #\nbz $\nsnothing %\n"
                         "#10\n1!\nb1 \"\n1&\n"
                         "#20\n0!\nbx01 $\nr-1e300 #\nssomething %\n"
                         "#30\n1!\nb1x \"\n1&\n"
                         "#40\nhu\n0!\nbuwlh-01xz $\n";

TEST_F(RunOutput, fstHoldsWhatTheRecordingHolds)
{
    if (!hasFstReader()) {
        GTEST_SKIP() << "needs fst2vcd";
    }
    const std::string vcd = kRun.substr(0, kRun.find("hu\n")) + kRun.substr(kRun.find("0!\nbu"));
    write("in.vcd", vcd);
    for (const char* store : {"events", "columns", "indexed"}) {
        expectMade({"import", path("in.vcd"), path("in.wdb"), "--store", store});
        expectMade({"export", path("in.wdb"), path("out.fst")});
        expectSame("in.vcd", asVcd("out.fst"));
        const std::string text = read("out.fst.vcd");
        EXPECT_THAT(text, HasSubstr("$attrbegin misc 07 state 2 IDLE BUSY 00 01 1 $end"));
        EXPECT_THAT(text, HasSubstr("$scope begin other"));
        EXPECT_THAT(text, HasSubstr("10ns"));
        EXPECT_EQ(files(),
                  (std::vector<std::string>{"in.vcd", "in.wdb", "out.fst", "out.fst.vcd"}));
    }
    // A time scale that is no power of ten, names beyond what readers have room for, and a run
    // without changes.
    write("in.vcd", "$timescale 244 ns $end\n$scope module " + std::string(700, 'm') +
                        " $end\n$var wire 1 ! " + std::string(700, 'a') + " $end\n$var wire 1 \" " +
                        std::string(700, 'a') + "b $end\n$enddefinitions $end\n#3\n1!\n0\"\n");
    expectMade({"export", path("in.vcd"), path("out.fst")});
    EXPECT_THAT(read(asVcd("out.fst")), HasSubstr("\n#732\n"));
    write("in.vcd", "$scope module top $end\n$var wire 1 ! a $end\n$enddefinitions $end\n#10\n");
    expectMade({"export", path("in.vcd"), path("out.fst")});
    EXPECT_THAT(read(asVcd("out.fst")), HasSubstr("$var wire 1 ! a $end"));
}

TEST_F(RunOutput, sliceIsAWindowOfTheRun)
{
    write("in.vcd", kRun.substr(0, kRun.find("hu\n")));
    expectMade({"import", path("in.vcd"), path("in.wdb")});
    for (const char* input : {"in.vcd", "in.wdb"}) {
        for (const char* output : {"out.vcd", "out.wdb"}) {
            expectMade({"slice", path(input), path(output), "--from", "150ns", "--to", "300ns"});
            expectSame("in.vcd", output, {"--from", "150ns", "--to", "300ns"});
        }
        expectMade({"slice", path(input), path("some.vcd"), "top.sub", "--from", "15"});
        const std::string text = read("some.vcd");
        EXPECT_THAT(text, HasSubstr("\n#15\nb1 \"\nr0.5 #\n#20\nr-1e+300 #\n#30\nb1x \"\n#40\n"));
        EXPECT_THAT(text, Not(HasSubstr("direction")));
        EXPECT_THAT(text, Not(HasSubstr("$scope begin other")));
        EXPECT_THAT(text, HasSubstr("$attrbegin misc 07 \"\" 1 $end\n$var reg 2"));
    }
    EXPECT_THAT(run({"slice", path("in.wdb"), path("no.wdb"), "top.other.wide[3:0]"}).error,
                HasSubstr("a slice takes whole variables; name top.other.wide[69:0]"));
    EXPECT_EQ(run({"slice", path("in.wdb"), path("no.wdb"), "--from", "20", "--to", "10"}).code, 2);
    EXPECT_EQ(files(),
              (std::vector<std::string>{"in.vcd", "in.wdb", "out.vcd", "out.wdb", "some.vcd"}));
}

TEST_F(RunOutput, mergeTellsRunsOfOneTimeApart)
{
    write("in.vcd", kRun.substr(0, kRun.find("hu\n")));
    write("other.vcd", "$timescale 1 ps $end\n"
                       "$attrbegin misc 07 colour 2 RED BLUE 0 1 1 $end\n"
                       "$scope module top $end\n$attrbegin misc 07 \"\" 1 $end\n"
                       "$var wire 1 ! lamp $end\n$enddefinitions $end\n"
                       "#0\n0!\n#100001\n1!\n");
    expectMade({"merge", path("out.wdb"), path("in.vcd"), "b=" + path("other.vcd")});
    const std::string names = run({"signals", path("out.wdb")}).out;
    EXPECT_THAT(names, HasSubstr("in.top.clk"));
    EXPECT_THAT(names, HasSubstr("b.top.lamp"));
    EXPECT_THAT(run({"values", path("out.wdb"), "b.top.lamp", "in.top.sub.state"}).out,
                HasSubstr("BLUE"));
    EXPECT_THAT(
        run({"values", path("out.wdb"), "in.top.sub.state", "--from", "100ns", "--to", "100ns"})
            .out,
        HasSubstr("BUSY"));
    expectMade({"export", path("out.wdb"), path("out.vcd")});
    EXPECT_THAT(read("out.vcd"), HasSubstr("#100000\n"));
    EXPECT_THAT(read("out.vcd"), HasSubstr("#100001\n"));
    EXPECT_EQ(run({"merge", path("no.wdb"), "b=" + path("in.vcd"), "b=" + path("other.vcd")}).code,
              1);
}

TEST_F(RunOutput, segmentsMakeTheRunThatTheyAreOf)
{
    write("in.vcd", kRun.substr(0, kRun.find("hu\n")));
    expectMade({"slice", path("in.vcd"), path("a.wdb"), "--to", "19"});
    expectMade({"slice", path("in.vcd"), path("b.vcd"), "--from", "20", "--to", "24"});
    expectMade({"slice", path("in.vcd"), path("c.wdb"), "--from", "25"});
    expectMade(
        {"merge", "--segments", path("out.vcd"), path("c.wdb"), path("a.wdb"), path("b.vcd")});
    expectSame("in.vcd", "out.vcd");
    // What a segment restates is no change.
    EXPECT_THAT(read("out.vcd"), Not(HasSubstr("#25")));
    // One of a single time goes before the one that begins there, however they are named.
    expectMade({"slice", path("in.vcd"), path("start.wdb"), "--to", "0"});
    expectMade({"merge", "--segments", path("out.vcd"), path("in.vcd"), path("start.wdb")});
    expectSame("in.vcd", "out.vcd");
    expectMade({"slice", path("in.vcd"), path("d.wdb"), "--to", "35"});
    EXPECT_THAT(run({"merge", "--segments", path("no.wdb"), path("d.wdb"), path("c.wdb")}).error,
                HasSubstr("before the segment in front of it ends"));
    expectMade({"slice", path("in.vcd"), path("e.wdb"), "top.clk"});
    EXPECT_THAT(run({"merge", "--segments", path("no.wdb"), path("a.wdb"), path("e.wdb")}).error,
                HasSubstr("is no segment of the same run"));
}

TEST_F(RunOutput, readingCommandsTakeARunAsItIs)
{
    write("in.vcd", kRun.substr(0, kRun.find("hu\n")));
    expectMade({"import", path("in.vcd"), path("in.wdb"), "--store", "columns"});
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"values", "top.*"},
                                               {"signals"},
                                               {"signals", "--json"},
                                               {"next", "5", "top.clk"},
                                               {"draw", "top.*", "--width", "60"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.begin() + 1, path("in.vcd"));
        const Result direct = run(arguments);
        arguments[1] = path("in.wdb");
        EXPECT_EQ(direct.out, run(arguments).out) << command[0];
        EXPECT_EQ(direct.code, 0) << direct.error;
    }
    EXPECT_THAT(run({"signals", path("in.vcd")}).out, HasSubstr("wire        1  in "));
    EXPECT_THAT(run({"info", path("in.vcd")}).out, HasSubstr("format        VCD\n"));
    write("in.vcd", kRun.substr(0, kRun.find("#20") + 8));
    const Result cut = run({"values", path("in.vcd"), "top.clk"});
    EXPECT_EQ(cut.code, 1);
    EXPECT_THAT(cut.error, HasSubstr("cut off inside a value change; everything before was taken"));
}

TEST_F(RunOutput, valuesAreNamedByHand)
{
    write("in.vcd", kRun.substr(0, kRun.find("hu\n")));
    const auto states = [&](const std::string& names) {
        write("names", names);
        const Result result = run({"values", path("in.vcd"), "top.sub.state", "--names",
                                   "top.sub.state=" + path("names"), "--to", "30"});
        return result.code == 0 ? result.out : result.error;
    };
    const std::string own = states("FIRST 0 # the start\n\nSECOND 2'b01\r\nODD 0b1X\n");
    EXPECT_THAT(own, ::testing::ContainsRegex(" 0  FIRST\n +10  SECOND\n.*30  ODD\n"));
    EXPECT_EQ(states("0 FIRST\n01 SECOND\n0b1x ODD\n"), own);
    EXPECT_THAT(states("G B C\n"), HasSubstr("line 1: \"B C\" is no value; write NAME VALUE"));
    EXPECT_THAT(states("A 1\nB\n"), HasSubstr("line 2: \"B\" stands alone"));
    EXPECT_THAT(states(" # nothing\n"), HasSubstr("names no value"));
}

} // namespace
