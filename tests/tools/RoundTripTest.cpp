// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include <string>
#include <tuple>

namespace {

struct Oddity
{
    const char* name;
    std::string text;
    /// What a transition database says to it, if it cannot keep it.
    const char* refusal = nullptr;
};

constexpr const char* kText = "takes a text";
constexpr const char* kExcess = "takes letters that it has no bits for";

void PrintTo(const Oddity& oddity, std::ostream* os)
{
    *os << oddity.name;
}

class Oddities : public ImportExport,
                 public ::testing::WithParamInterface<std::tuple<const char*, Oddity>>
{};

TEST_P(Oddities, comesBackWithTheSameHistoryOrIsRefused)
{
    const auto& [store, oddity] = GetParam();
    write("in.vcd", oddity.text);
    if (oddity.refusal == nullptr || store != std::string("transitions")) {
        expectRoundTrip({"--store", store});
        // Packed into columns it tells the same.
        ASSERT_EQ(run({"pack", path("out.wdb"), path("packed.wdb")}).code, 0);
        ASSERT_EQ(run({"export", path("packed.wdb"), path("packed.vcd")}).code, 0);
        EXPECT_EQ(read("packed.vcd"), read("out.vcd"));
        return;
    }
    const Result result = import({"--store", store});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.error.find(std::string(oddity.refusal) + ", which a transition database"),
              std::string::npos)
        << result.error;
    EXPECT_EQ(files(), std::vector<std::string>{"in.vcd"});
}

const std::string kHead = "$date\n today\n$end $version a tool $end $timescale 1 ns $end\n"
                          "$scope module top $end\n"
                          "$var wire 1 ! bit $end\n"
                          "$var reg 8 \" byte [7:0] $end\n"
                          "$var real 64 # level $end\n"
                          "$var string 1 $ text $end\n"
                          "$var event 1 % tick $end\n"
                          "$var wire 70 & wide [69:0] $end\n"
                          "$upscope $end\n$enddefinitions $end\n";

std::string repeated(const std::string& text, int count)
{
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += text;
    }
    return out;
}

std::string windows(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, 1, '\r');
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Vcd, Oddities,
    ::testing::Combine(
        ::testing::Values("events", "indexed", "columns", "transitions"),
        ::testing::Values(
            Oddity{"noValues", kHead}, Oddity{"onlyTimes", kHead + "#5\n#10\n"},
            Oddity{"valuesBeforeTheFirstTime", kHead + "1!\nb101 \"\n#7\n0!\n"},
            Oddity{"valuesAtTimeZeroOnly", kHead + "#0\n$dumpvars\n1!\nbx \"\n$end\n"},
            Oddity{"repeatsAndSameTime",
                   kHead + "#1\n1!\n0!\n1!\n#2\n1!\nb1 \"\n#3\n0!\n1!\n#4\n1!\n"},
            Oddity{"backToTheOldValueAtOneTime",
                   kHead + "#1\n1!\nb11 \"\n#2\n0!\n1!\nb0 \"\nb11 \"\n"},
            Oddity{"dumpSections",
                   kHead +
                       "#0 $dumpvars 0! b0 \" $end #1 1! #2 $dumpoff x! bx \" $end #9 $dumpon 1! "
                       "b11 \" $end #10 $dumpall 1! b11 \" $end $comment 0! is no value $end "
                       "#11 $xtool 0! $end 0!\n"},
            Oddity{"windowsLineEnds", windows(kHead + "#0\n1!\nb101 \"\nsidle $\n#5\n0!\n"), kText},
            Oddity{"noFinalNewline", kHead + "#0\n1!\n#3\n0!"},
            Oddity{"missingEndAtTheEnd", kHead + "#0\n$dumpvars\n1!\nb1 \"\n"},
            Oddity{"capitalLetters", kHead + "#0\nX!\nBXZ01 \"\nR1.5 #\n#1\nZ!\nSHello $\n", kText},
            Oddity{"blanksInScalarChanges", kHead + "#0\n1 !\n#1\n0\t!\n"},
            Oddity{"nineStates", kHead +
                                     "#0\nU!\nbUWLH-01x \"\n#1\nw!\n#2\nh!\n#3\n-!\nbl \"\n#4\n1!\n"
                                     "b1 \"\n#5\nbuu \"\nu!\n"},
            Oddity{"shortAndLongVectors",
                   kHead + "#0\nbx1 \"\nbz \"\n#1\nb1 \"\nbz0 &\n#2\nbx \"\n"
                           "bx00 &\n#3\nb00000000101 \"\n#4\nb1100000001 \"\n"
                           "#5\nbxxx0000000x \"\n#6\nb1 \"\nbz &\n",
                   kExcess},
            Oddity{"scalarsAndVectorsMixed",
                   kHead + "#0\nb1 !\nx\"\n1&\n#1\nb00z !\n0\"\nz&\n#2\n"
                           "b10 !\n#3\n1!\n#4\nu&\n#5\nx&\n",
                   kExcess},
            Oddity{"strangeKindsOfValue",
                   kHead + "#0\nshello !\nr1.5 \"\nb1010 #\nb1 $\nsx %\n#1\n"
                           "1!\nb11 \"\nr2 #\nsback $\n1%\n#2\nsx %\ns !\ns $\n1#\n"
                           "#3\nr-1e3 !\nsx %\nshello \"\n0$\n",
                   kText},
            Oddity{"reals",
                   kHead +
                       "#0\nr0.1 #\n#1\nr-0.0 #\n#2\nr0 #\n#3\nrnan #\n#4\nr-inf #\n#5\nr1e999 #\n"
                       "#6\nr4.9406564584124654e-324 #\n#7\nr1.7976931348623157e308 #\n#8\n"
                       "r0.1000000000000000055511151231257827 #\n#9\nr+2.5 #\n#10\nr1e-999 #\n",
                   "takes a number that no double holds"},
            Oddity{"strings",
                   kHead + "#0\ns $\n#1\nsa\\x20b $\n#2\ns\xff\xfe\xc3\xa4 $\n#3\ns" +
                       repeated("long ", 1).substr(0, 4) + repeated("0123456789", 500) +
                       " $\n#4\ns" + repeated("x", 1010) + " $\n#5\ns $\n",
                   kText},
            Oddity{"events", kHead + "#0\n1%\n1%\n#5\n1%\n#5\n1%\n1%\n#6\n" +
                                 repeated("1%\n", 1024) + "#7\n1%\n#8\nx%\n#9\n1%\n"},
            Oddity{"timesBeyondDoubles", kHead + "#9007199254740993\n1!\n#9007199254740994\n0!\n"
                                                 "#9223372036854775807\n1!\nb1 \"\n"},
            Oddity{"gapsBeyond32Bits", kHead + "#1\n1!\n#4294967298\n0!\n#8589934595\n1!\n"},
            Oddity{"leadingZerosOfATime", kHead + "#0000000000000000000000000012\n1!\n#13\n0!\n"},
            Oddity{"unfinishedLastTime", kHead + "#1\n1!\n#2"},
            Oddity{"names",
                   "$scope module top $end $scope begin $end $var wire 1 ! \\a.b[3] $end\n"
                   "$var wire 8 \" data[7:0] $end $var wire 8 # data [7:0] $end $upscope $end\n"
                   "$scope module \\ex(t) $end $var wire 1 $ \xff\xe4 $end $upscope $end $upscope "
                   "$end\n"
                   "$scope module top $end $var wire 1 % twice $end $var wire 1 & twice $end\n"
                   "$var wire 4 ' \\a b [3:0] $end $var wire 0 ( zero $end $upscope $end\n"
                   "$var wire 1 ) outside $end $var wire 1 ! alias $end $var wire 4 ! wider $end\n"
                   "$enddefinitions $end #0 1! b1 \" b10 # 1$ 0% 1& bz ' 1( 1) #1 bx01 ! 0%\n"},
            Oddity{"longAndOddCodes",
                   "$var wire 1 longcode a $end $var wire 1 \xe4\xf6 b $end $var wire 1 #5 c $end\n"
                   "$var wire 1 $dumpvars d $end $var wire 1 longcodf e $end $var wire 1 12345 f "
                   "$end\n"
                   "$enddefinitions $end #0 1longcode 0\xe4\xf6 1#5 z$dumpvars 0longcodf b1 12345\n"
                   "#1 0longcode b1 #5 x$dumpvars\n"},
            Oddity{"portVariables",
                   "$scope module top $end $var port 1 <0 clk $end $var port 4 <1 bus $end\n"
                   "$upscope $end $enddefinitions $end #0 $dumpports pD 6 0 <0 pDDUU 6666 0000 <1\n"
                   "$end #5 pU 0 6 <0 #6 pNNZX 66aa 0000 <1 #7 $vcdclose #9 $end\n",
                   "takes the strengths of a port"},
            Oddity{"hugeVector",
                   "$var wire 65600 ! huge [65599:0] $end $enddefinitions $end #0 b0 ! #1 "
                   "b" +
                       repeated("10xz1100", 8200) + " ! #2 b" + repeated("10xz1100", 8199) +
                       "01xz1100 ! #3 bu ! #4 bz !\n"})),
    [](const auto& test) {
        return std::get<1>(test.param).name + std::string("_") + std::get<0>(test.param);
    });

TEST_F(ImportExport, fractionsOfTimeRefineTheTimescale)
{
    EXPECT_EQ(exportedChanges("$timescale 10 us $end $var wire 1 ! a $end $enddefinitions $end\n"
                              "#1 1! #2.5 0! #3.250 1! #4e1 0!\n"),
              "#100\n1!\n#250\n0!\n#325\n1!\n#4000\n0!\n");
    EXPECT_EQ(readPlainVcd(path("out.vcd")).timescale, "100 ns");
    EXPECT_EQ(exportedChanges("$var wire 1 ! a $end $enddefinitions $end #0.5 1!"), "#5\n1!\n");
    EXPECT_EQ(readPlainVcd(path("out.vcd")).timescale, "100 ps");
}

TEST_F(ImportExport, timescalesKeepTheirLength)
{
    for (const auto& [in, out] : {std::pair("244 ns", "244 ns"),
                                  {"1ps", "1 ps"},
                                  {"1.5us", "1500 ns"},
                                  {"100 s", "100 s"},
                                  {"10\n fs", "10 fs"},
                                  {"us", "1 us"},
                                  {"0.5 fs", "500 as"}}) {
        exportedChanges("$timescale " + std::string(in) +
                        " $end $var wire 1 ! a $end $enddefinitions $end #1 1!");
        EXPECT_EQ(readPlainVcd(path("out.vcd")).timescale, out);
    }
}

TEST_F(ImportExport, declarationsMayLackTheirEndAndHaveScopeEndsTooMany)
{
    exportedChanges("$upscope $end $scope module top $end $var wire 1 ! a $end #0 1!");
    EXPECT_EQ(read("out.vcd"), "$scope module top $end\n$var wire 1 ! a $end\n$upscope $end\n"
                               "$enddefinitions $end\n#0\n$dumpvars\n1!\n$end\n");
    EXPECT_EQ(exportedChanges("$var wire 1 ! a $end $enddefinitions #1 1! $dumpall 0! $end #2 1!"),
              "#1\n0!\n#2\n1!\n");
}

TEST_F(ImportExport, exportWritesOnlyWhatChangesAndDumpsTheStartAlone)
{
    EXPECT_EQ(exportedChanges(kHead + "#0\n1!\nb00000101 \"\n#3\n1!\nb101 \"\n#4\n0!\n#9\n"),
              "#0\n$dumpvars\n1!\nb101 \"\n$end\n#4\n0!\n#9\n");
}

TEST_F(ImportExport, lettersAndFiringsComeAsSimulatorsWriteThem)
{
    EXPECT_EQ(exportedChanges("$var wire 1 ! a $end $var wire 8 \" v $end $var event 8 # e $end "
                              "$enddefinitions $end\n#1\nU!\nbUWLHXZ01 \"\nb101 #\nb101 #\n"),
              "#1\nU!\nbUWLHxz01 \"\nb101 #\nb101 #\n");
}

TEST_F(ImportExport, dialectsWithOneMeaningAreRead)
{
    EXPECT_EQ(exportedChanges(kHead + "#1\nb0b00 \"\nb0b1 !\n#2\nb0B1010_0011 \"\n"),
              "#1\n1!\nb0 \"\n#2\nb10100011 \"\n");
    EXPECT_EQ(exportedChanges(kHead + "#1\nb 101 \"\n#2\nb \"\n1!\n#3\nb !\n#4\nb \"\r\n"),
              "#1\nb101 \"\n#2\n1!\nbx \"\n#3\nx!\n#4\n");
    EXPECT_EQ(exportedChanges(kHead + "#1\nr1.#INF #\n#2\nr-1.#IND00 #\n"),
              "#1\nrinf #\n#2\nr-nan #\n");
    EXPECT_EQ(exportedChanges("$timescale 1 \xc2\xb5s $end $var wire 8 ! a $end b101 !\n#5 b1 !\n"),
              "#0\n$dumpvars\nb101 !\n$end\n#5\nb1 !\n");
}

TEST_F(ImportExport, lenientReadingCountsWhatAStrictOneRefuses)
{
    write("in.vcd", kHead + "#5\n1!\nb101H\n0!\n#4\nb1 \"\n1zz\nb1 yy\nr1 xx\n#6\njello\nr1x #\n"
                            "1!\n#7x\n#-8\n0!\nb H\n0!\nfoo bar\n");
    for (const char* const store : {"events", "transitions"}) {
        const Result result = import({"--lenient", "--store", store});
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(
            result.error,
            "tracewell: " + path("in.vcd") +
                ": read with --lenient: 2 times that go back (taken at the last time), 4 values "
                "of codes that no $var declares (left out), 6 words that are no change (left "
                "out); the first in line 15\n");
        run({"export", path("out.wdb"), path("out.vcd")});
        const std::string text = read("out.vcd");
        EXPECT_EQ(text.substr(text.find("#5\n")), "#5\n0!\nb1 \"\n#6\n");
    }
    EXPECT_NE(import().error.find("--lenient"), std::string::npos);
    EXPECT_EQ(run({"diff", "--lenient", path("in.vcd"), path("out.wdb")}).code, 0);
    write("in.vcd", kHead + "#5\nshello $\n");
    EXPECT_EQ(import({"--lenient", "--store", "transitions"}).code, 1);
}

TEST_F(ImportExport, textsWithBlanksReachToTheCodeAtTheEndOfTheLine)
{
    EXPECT_EQ(exportedChanges(kHead + "#1\nsone two  three $\ns four $ \n"), "#1\ns four $\n");
    EXPECT_EQ(exportedChanges(kHead + "#1\nsone two  three $\n#2\n1!\n"),
              "#1\nsone two  three $\n#2\n1!\n");
    const std::string controls = "#1\ns\x01 $\n#2\nsa\x1b!\x02 b $\n#3\nsc\x03 $\n";
    EXPECT_EQ(exportedChanges(kHead + controls), controls);
}

TEST_F(ImportExport, changesAcrossTheBorderOfAReadStayWhole)
{
    constexpr std::size_t kRead = 256 * 1024;
    for (std::size_t before = 0; before < 24; ++before) {
        std::string text = kHead + "#1\n$comment ";
        text += std::string(kRead - 6 - before - text.size(), 'x') + " $end\n";
        text += "b10110011 \"\nslonger $\n#2\n0!\n";
        EXPECT_EQ(exportedChanges(text + "$comment " + std::string(kRead, 'x') + " $end\n"),
                  "#1\nb10110011 \"\nslonger $\n#2\n0!\n");
    }
}

TEST_F(ImportExport, sectionsOfOtherToolsAndCommentsStayInTheirPlace)
{
    const std::string head = "$comment one\n  line  more $end\n$scope module top $end\n"
                             "$attrbegin misc 07 \"\" 1 $end\n$var wire 1 ! a $end\n"
                             "$comment two $end\n$upscope $end\n$enddefinitions $end\n";
    exportedChanges(head + "#0\n1!\n");
    EXPECT_EQ(read("out.vcd"), head + "#0\n$dumpvars\n1!\n$end\n");
}

} // namespace
