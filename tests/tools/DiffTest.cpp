// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>
#include <tuple>
#include <vector>

using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

const std::string kNames = "$scope module top $end\n"
                           "$var wire 1 ! clk $end\n"
                           "$var reg 40 \" data [39:0] $end\n"
                           "$var real 64 # level $end\n"
                           "$var event 1 % tick $end\n"
                           "$var wire 1 ! alias $end\n"
                           "$upscope $end\n$enddefinitions $end\n";
const std::string kHead = "$timescale 1 ns $end\n" + kNames;

class Diff : public Reading
{
protected:
    /// A run of that text, in whatever it is to be kept: "vcd" or a store.
    std::string run(const std::string& name, const std::string& text, const std::string& kind)
    {
        write(name + ".vcd", text);
        if (kind == "vcd") {
            return path(name + ".vcd");
        }
        const Result imported =
            Reading::run({"import", "--store", kind, path(name + ".vcd"), path(name + ".wdb")});
        EXPECT_EQ(imported.code, 0) << imported.error;
        return path(name + ".wdb");
    }

    /// Compares two texts.
    Result compare(const std::string& a, const std::string& b,
                   const std::vector<std::string>& options = {}, const std::string& kindOfA = "vcd",
                   const std::string& kindOfB = "vcd")
    {
        std::vector<std::string> arguments = {"diff", run("a", a, kindOfA), run("b", b, kindOfB)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Reading::run(arguments);
    }
};

class DiffOfKinds : public Diff,
                    public ::testing::WithParamInterface<std::tuple<const char*, const char*>>
{};

INSTANTIATE_TEST_SUITE_P(
    Kinds, DiffOfKinds,
    ::testing::Combine(::testing::Values("vcd", "events", "indexed", "columns", "transitions"),
                       ::testing::Values("vcd", "events", "indexed", "columns", "transitions")),
    [](const auto& test) {
        return std::string(std::get<0>(test.param)) + "_" + std::get<1>(test.param);
    });

TEST_P(DiffOfKinds, whateverTheRunsAreKeptInTheyAreComparedByTheirValues)
{
    const auto& [a, b] = GetParam();
    const std::string start = kHead + "#0\n0!\nbx \"\nr1.5 #\n#10\n1!\nb11 \"\n1%\n1%\n#20\n0!\n";
    const Result same = compare(start + "bu1 \"\n#30\n1%\n", start + "bu1 \"\n#30\n1%\n", {}, a, b);
    EXPECT_EQ(same.code, 0) << same.out << same.error;
    EXPECT_EQ(same.out, "");

    const Result other = compare(start + "bu1 \"\n#30\n1%\n#31\n1!\n",
                                 start + "b1 \"\n#30\n1%\n1%\nr2 #\n#31\n1!\n", {"--json"}, a, b);
    EXPECT_EQ(other.code, 1) << other.error;
    const auto json = nlohmann::json::parse(other.out);
    EXPECT_EQ(json["compared"], 5);
    EXPECT_EQ(json["ends"], nlohmann::json({{"a", 31}, {"b", 31}}));
    std::string found;
    for (const auto& difference : json["differences"]) {
        found += difference["signal"].get<std::string>() + " " + difference["time"].dump() + " " +
                 difference["a"].dump() + " " + difference["b"].dump() + "\n";
    }
    EXPECT_EQ(found, "top.data[39:0] 20 \"uuuuuuuuuX\" \"0000000001\"\n"
                     "top.level 30 \"1.5\" \"2\"\n"
                     "top.tick 30 \"!\" \"!x2\"\n");
}

struct Case
{
    const char* name;
    std::string a;
    std::string b;
    std::vector<std::string> options;
    /// The lines, without their titles; empty for equal runs.
    std::string told;

    friend std::ostream& operator<<(std::ostream& os, const Case& test) { return os << test.name; }
};

class DiffCases : public Diff, public ::testing::WithParamInterface<Case>
{};

TEST_P(DiffCases, tellsWhatDiffers)
{
    const Case& test = GetParam();
    const Result result = compare(test.a, test.b, test.options);
    EXPECT_EQ(result.code, test.told.empty() ? 0 : 1) << result.error;
    const std::size_t titles = result.out.rfind("differs", 0) == 0 ? result.out.find('\n') + 1 : 0;
    EXPECT_EQ(result.out.substr(titles), test.told);
}

const std::string kTwo = "$timescale 1 ns $end $var wire 1 ! a $end $var wire 1 \" b $end "
                         "$enddefinitions $end\n";

INSTANTIATE_TEST_SUITE_P(
    Each, DiffCases,
    ::testing::Values(
        Case{"theFirstTimeOfEachInOrder",
             kTwo + "#1\n1!\n1\"\n#5\n0\"\n#9\n0!\n#20\n1!\n",
             kTwo + "#1\n1!\n1\"\n#7\n0\"\n#9\n0!\n#19\n1!\n#20\n",
             {},
             "        5 ns  b       0      1\n       19 ns  a       0      1\n"},
        Case{"aValueInBetweenAndRepeatsDoNotCount",
             kTwo + "#1\n1!\n#2\n0!\n1!\n#3\n1!\n",
             kTwo + "#1\n1!\n#3\n",
             {},
             ""},
        Case{"noValueIsNotX",
             kTwo + "#0\nx!\n",
             kTwo + "#0\n",
             {},
             "         0 s  a       x      -\n"},
        Case{"otherTimescalesByRealTime",
             kTwo + "#2\n1!\n#7\n0!\n",
             "$timescale 100 ps $end $var wire 1 & a $end $var wire 1 ' b $end "
             "$enddefinitions $end\n#20\n1&\n#69\n0&\n#70\n",
             {},
             "      6.9 ns  a       1      0\n"},
        Case{"fractionsOfTime", kTwo + "#1.5\n1!\n#2\n", kTwo + "#1.5\n1!\n#2\n", {}, ""},
        Case{"fractionsOfTimeInOneRun",
             kTwo + "#1\n1!\n#2\n",
             kTwo + "#1.25\n1!\n#2\n",
             {},
             "        1 ns  a       1      -\n"},
        Case{"fromComparesWhatHoldsThen",
             kTwo + "#1\n1!\n0\"\n#5\n0!\n#20\n1\"\n",
             kTwo + "#1\n1!\n1\"\n#4\n0!\n#20\n1\"\n",
             {"--from", "6ns"},
             "        6 ns  b       0      1\n"},
        Case{"fromBetweenTheTimesOfACoarserScale",
             kTwo + "#10\n1!\n#20\n0!\n",
             "$timescale 10 ns $end $var wire 1 ! a $end $var wire 1 \" b $end "
             "$enddefinitions $end\n#1\n1!\n#2\n0!\n",
             {"--from", "15"},
             ""},
        Case{"toIsTheLastTime",
             kTwo + "#1\n1!\n#5\n0!\n#6\n",
             kTwo + "#1\n1!\n#6\n0!\n#90\n",
             {"--to", "4"},
             ""},
        Case{"endsDiffer",
             kTwo + "#1\n1!\n#5\n",
             kTwo + "#1\n1!\n#6\n",
             {},
             "a.vcd ends at 5 ns, b.vcd at 6 ns\n"},
        Case{"chosenSignals", kTwo + "#1\n1!\n1\"\n", kTwo + "#1\n1!\n0\"\n", {"a"}, ""},
        Case{"ignoredSignals",
             kTwo + "#1\n1!\n1\"\n",
             kTwo + "#1\n1!\n0\"\n",
             {"--ignore", "b*"},
             ""},
        Case{"signalsOfOneRun",
             "$var wire 1 ! a $end $var wire 1 \" b $end $enddefinitions $end\n#1\n1!\n",
             "$var wire 1 ! c $end $var wire 1 & a $end $enddefinitions $end\n#1\n1&\n",
             {},
             "only in a.vcd: b\nonly in b.vcd: c\n"},
        Case{"anotherRangeIsTheSameName",
             "$var reg 8 ! v [7:0] $end $enddefinitions $end\n#1\nb101 !\n#2\nb1000 !\n",
             "$var reg 4 ! v [3:0] $end $enddefinitions $end\n#1\nb0101 !\n#2\nb1001 !\n",
             {},
             "        2 ns  v[7:0]  08     9\n"},
        Case{"namesThatReadAlike",
             "$scope module a.b $end $var wire 1 ! c $end $upscope $end $scope module a $end "
             "$scope module b $end $var wire 1 & c $end $upscope $end $upscope $end "
             "$enddefinitions $end\n#1\n0!\n1&\n",
             "$scope module a $end $scope module b $end $var wire 1 & c $end $upscope $end "
             "$var wire 1 ! b.c $end $upscope $end $enddefinitions $end\n#1\n1&\n0!\n",
             {},
             "only in a.vcd: a.b.c\nonly in b.vcd: a.b.c#2\n"},
        Case{"textsOfStrings",
             "$var string 1 ! s $end $enddefinitions $end\n#1\nsone !\n#2\nstwo !\n",
             "$var string 1 ! s $end $enddefinitions $end\n#1\nsone !\n#2\nstoo !\n",
             {},
             "        2 ns  s       \"two\"  \"too\"\n"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Diff, troubleIsToldApartFromADifference)
{
    const std::string good = run("good", kHead + "#1\n1!\n", "vcd");
    write("bad.vcd", kHead + "#1\n1?\n");
    const std::vector<std::pair<std::vector<std::string>, std::string>> kCases = {
        {{good, path("missing.wdb")}, "missing.wdb: no such file"},
        {{good, path("bad.vcd")}, "bad.vcd: line 11: "},
        {{good, good, "top.nothing"}, "no signal \"top.nothing\""},
        {{good, good, "@8"}, "by the names of their signals"},
        {{"-", "-"}, "name a file for the other"},
        {{good, good, "--from", "9", "--to", "2"}, "before the start"},
    };
    for (const auto& [arguments, told] : kCases) {
        std::vector<std::string> all = arguments;
        all.insert(all.begin(), "diff");
        const Result result = Reading::run(all);
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.error, HasSubstr(told));
    }
}

/// More texts than are kept, most of them gone by: those in use are still there.
TEST_F(Diff, manyTextsOfAVcdPassThroughABoundedMemory)
{
    std::string text = "$var string 1 ! s $end $var string 1 \" first $end $enddefinitions $end\n"
                       "#0\nsstays \"\n";
    const std::string filling(1000, '.');
    for (int i = 1; i <= 60'000; ++i) {
        text += "#" + std::to_string(i) + "\ns" + std::to_string(i) + filling + " !\n";
    }
    const Result result = compare(text, text + "sstay \"\n", {"first"});
    EXPECT_EQ(result.code, 1) << result.error;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("60 us  first "), HasSubstr("\"stays\" "), HasSubstr("\"stay\"")));
}

} // namespace
