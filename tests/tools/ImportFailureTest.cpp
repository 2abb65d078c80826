// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include "record/SnapshotDirectory.h"

#include <string>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string kHead = "$timescale 1 ns $end\n"
                          "$var wire 1 ! a $end\n"
                          "$var reg 8 ab b [7:0] $end\n"
                          "$var real 64 # r $end\n"
                          "$enddefinitions $end\n";

struct Refusal
{
    const char* name;
    std::string text;
    /// Parts of the one line that says why.
    int line;
    const char* reason;
    std::vector<std::string> options = {};
};

void PrintTo(const Refusal& refusal, std::ostream* os)
{
    *os << refusal.name;
}

class Refusals : public ImportExport, public ::testing::WithParamInterface<Refusal>
{};

TEST_P(Refusals, giveFileLineAndReasonAndLeaveNothing)
{
    write("in.vcd", GetParam().text);
    const Result result = import(GetParam().options);
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.error.find(path("in.vcd") + ": line " + std::to_string(GetParam().line) + ":"),
              std::string::npos)
        << result.error;
    EXPECT_NE(result.error.find(GetParam().reason), std::string::npos) << result.error;
    EXPECT_EQ(result.error.find('\n'), std::string::npos);
    EXPECT_EQ(files(), std::vector<std::string>{"in.vcd"});
}

INSTANTIATE_TEST_SUITE_P(
    Vcd, Refusals,
    ::testing::Values(
        Refusal{"undeclaredCode", kHead + "#0\n1!\n\n0z\n#1\n", 9, "\"z\""},
        Refusal{"undeclaredCodeAtTheEnd", kHead + "#0\n1zz", 7, "\"zz\""},
        Refusal{"timeBackwards", kHead + "#10\n1!\n#9\n0!\n", 8, "back from 10"},
        Refusal{"negativeTime", kHead + "#-1\n", 6, "before 0"},
        Refusal{"timeBeyond63Bits", kHead + "#9223372036854775808\n1!\n", 6, "beyond"},
        Refusal{"timeBeyond63BitsWhenRefined",
                kHead + "#0.001\n1!\n#9223372036854775\n"
                        "#9223372036854776\n",
                9, "beyond"},
        Refusal{"noTime", kHead + "#1x\n", 6, "no time"},
        Refusal{"cutDeclaration", "$var wire 1 ! a\n$var wire 1 \" b $end\n", 2, "cut off"},
        Refusal{"cutHeader", "$scope module top $end\n$timescale 1 ns $end\n", 3, "cut off"},
        Refusal{"cutVariable", "$scope module top $end\n$var wire 1 $end\n", 2, "cut off"},
        Refusal{"cutComment", "$scope module top $end\n$comment it goes on", 2, "cut off"},
        Refusal{"width31Bits", "\n$var wire 2147483648 ! a $end $enddefinitions $end #0", 2,
                "2147483648"},
        Refusal{"widthBeyondAll", "$var reg 99999999999999999999 ! a $end", 1, "widest"},
        Refusal{"width24Bits", "$var reg 16777217 ! a $end", 1, "16777216"},
        Refusal{"widthNegative", "$var wire -8 ! a $end", 1, "\"-8\""},
        Refusal{"tooMuchMemory",
                [] {
                    std::string text;
                    for (int i = 0; i < 300; ++i) {
                        text += "$var reg 16777216 c" + std::to_string(i) + " a $end\n";
                    }
                    return text + "$enddefinitions $end\n";
                }(),
                301, "MB"},
        Refusal{"binary", kHead + "#0\n1!\n" + std::string("\0\1\2", 3), 8, "NUL"},
        Refusal{"empty", "", 1, "empty"}, Refusal{"otherText", "\nhello world\n", 2, "not a VCD"},
        Refusal{"noValue", kHead + "#0\nq!\n", 7, "\"q!\""},
        Refusal{"noLetters", kHead + "#0\nb10210 ab\n", 7, "\"10210\""},
        Refusal{"noReal", kHead + "#0\nr1.5x #\n", 7, "\"1.5x\""},
        Refusal{"declarationInTheBody", kHead + "#0\n1!\n$scope module x $end\n", 8, "$scope"},
        Refusal{"noTimescale", "$timescale 10 parsecs $end", 1, "timescale"},
        Refusal{"deepScopes",
                [] {
                    std::string text;
                    for (int i = 0; i < 1000; ++i) {
                        text += "$scope module x $end\n";
                    }
                    return text;
                }(),
                513, "deep"}),
    [](const auto& refusal) { return refusal.param.name; });

const std::vector<std::string> kTransitions = {"--store", "transitions"};
const std::string kMore = "$var string 1 $ text $end\n$var event 1 % tick $end\n"
                          "$enddefinitions $end\n#0\n";

INSTANTIATE_TEST_SUITE_P(
    WhatTransitionsCannotKeep, Refusals,
    ::testing::Values(
        Refusal{"string", kMore + "1%\nshi $\n", 6, "\"text\" takes a text", kTransitions},
        Refusal{"textOnAnEvent", kMore + "sx %\n", 5, "\"tick\" takes a text", kTransitions},
        Refusal{"firingsThatDiffer", kMore + "1%\nx%\n", 6, "different letters", kTransitions},
        Refusal{"hugeReal", kHead + "#0\nr1e999 #\n", 7, "no double holds", kTransitions},
        Refusal{"lettersInExcess", kHead + "#0\nb100000001 ab\n", 7, "no bits for", kTransitions},
        Refusal{"strengths", "$var port 1 <0 clk $end $enddefinitions $end\n#0 pD 6 0 <0\n", 2,
                "the strengths of a port", kTransitions},
        Refusal{"tooManyBits",
                [] {
                    std::string text;
                    for (int i = 0; i < 33; ++i) {
                        text += "$var reg 16777216 c" + std::to_string(i) + " a $end\n";
                    }
                    return text + "$enddefinitions $end\n";
                }(),
                34, "at most 1073741824", kTransitions}),
    [](const auto& refusal) { return refusal.param.name; });

TEST_F(ImportExport, optionsOfTheOtherStoreAreWrongUsage)
{
    write("in.vcd", kHead);
    for (const char* const option : {"--sync", "--division"}) {
        const Result result = import({"--store", "transitions", option, "8"});
        EXPECT_EQ(result.code, 2);
        EXPECT_NE(result.error.find("no meaning for --store transitions"), std::string::npos);
    }
    EXPECT_EQ(files(), std::vector<std::string>{"in.vcd"});
}

struct Cut
{
    const char* name;
    const char* tail;
    bool warns;

    friend std::ostream& operator<<(std::ostream& os, const Cut& cut) { return os << cut.name; }
};

class CutBodies : public ImportExport, public ::testing::WithParamInterface<Cut>
{};

TEST_P(CutBodies, keepEverythingUpToTheCut)
{
    write("in.vcd", kHead + "#5\n1!\nb101 ab\n#8\n0!\n" + GetParam().tail);
    const Result result = import();
    EXPECT_EQ(result.code, GetParam().warns ? 1 : 0) << result.error;
    EXPECT_EQ(result.error.find("cut off") != std::string::npos, GetParam().warns) << result.error;
    run({"export", path("out.wdb"), path("out.vcd")});
    const std::string text = read("out.vcd");
    EXPECT_EQ(text.substr(text.find("#5")), "#5\n1!\nb101 ab\n#8\n0!\n");
}

INSTANTIATE_TEST_SUITE_P(Vcd, CutBodies,
                         ::testing::Values(Cut{"value", "b1101", true}, Cut{"scalar", "1", true},
                                           Cut{"blank", "b1101 ", true},
                                           Cut{"code", "b1101 a", true}, Cut{"time", "#1", true},
                                           Cut{"hash", "#", true}, Cut{"keyword", "$dump", true},
                                           Cut{"comment", "$comment x", true},
                                           Cut{"port", "pD 6", true}, Cut{"nothing", "\n", false}),
                         [](const auto& cut) { return cut.param.name; });

TEST_F(ImportExport, declarationsThatAreCutOffKeepTheVariablesBeforeTheCut)
{
    const std::string whole = "$scope module top $end\n$var wire 1 ! a $end\n";
    for (const char* const tail : {"", "$var wire 1 \" b", "$comment x", "$upscope"}) {
        write("in.vcd", whole + tail);
        std::filesystem::remove(path("out.wdb"));
        const Result result = import();
        EXPECT_EQ(result.code, 1);
        EXPECT_NE(result.error.find("cut off inside the declarations"), std::string::npos);
        run({"export", path("out.wdb"), path("out.vcd")});
        EXPECT_EQ(read("out.vcd"), whole + "$upscope $end\n$enddefinitions $end\n");
    }
}

TEST_F(ImportExport, refusalSparesAnOlderOutput)
{
    write("out.wdb", "older");
    for (const std::string& text : {std::string("$var wire 1 ! a"), kHead + "#0\n1?\n"}) {
        write("in.vcd", text);
        EXPECT_EQ(import().code, 1);
        EXPECT_EQ(read("out.wdb"), "older");
        EXPECT_EQ(files(), (std::vector<std::string>{"in.vcd", "out.wdb"}));
    }
}

TEST_F(ImportExport, whatIsShortOfItsInputIsKeptBesideAnOlderOutput)
{
    write("in.vcd", kHead + "#0\n1!\n#5\n0");
    write("out.wdb", "older");
    for (const char* const store : {"events", "transitions"}) {
        std::filesystem::remove(path("out.part.wdb"));
        EXPECT_NE(import({"--store", store}).error.find(path("out.part.wdb")), std::string::npos);
        EXPECT_EQ(run({"export", path("out.part.wdb"), path("out.vcd")}).code, 0);
        const std::string first = read("out.part.wdb");
        // Neither of the two is lost to the next one.
        const std::size_t before = files().size();
        EXPECT_EQ(import({"--store", store}).code, 1);
        EXPECT_EQ(read("out.part.wdb"), first);
        EXPECT_EQ(read("out.wdb"), "older");
        EXPECT_EQ(files().size(), before + 1);
    }
}

TEST_F(ImportExport, inputsAndOutputsThatCannotBeAreRefused)
{
    write("in.vcd", kHead + "#0\n1!\n");
    EXPECT_EQ(run({"import", path("none.vcd"), path("out.wdb")}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), path("in.vcd")}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), path("no/such/place.wdb")}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), path("")}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), "-"}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), "/dev/null"}).code, 1);
    EXPECT_EQ(run({"import", path("in.vcd"), path("out.wdb"), "--sync", "-1"}).code, 2);
    EXPECT_EQ(run({"import", path("in.vcd")}).code, 2);
    EXPECT_EQ(run({"export", path("in.vcd"), path("in.vcd")}).code, 1);
    EXPECT_EQ(files(), std::vector<std::string>{"in.vcd"});
    EXPECT_EQ(read("in.vcd"), kHead + "#0\n1!\n");
}

TEST_F(ImportExport, nextImportRemovesWhatKilledOnesLeftAndNothingElse)
{
    const std::string place = path("out.wdb");
    const auto age = [&](const std::string& name) {
        using namespace std::chrono_literals;
        std::filesystem::last_write_time(path(name),
                                         std::filesystem::file_time_type::clock::now() - 100s);
    };
    const auto directory = [&](const std::string& name, mode_t mode) {
        ASSERT_EQ(::mkdir(path(name).c_str(), mode), 0);
        ASSERT_EQ(::chmod(path(name).c_str(), mode), 0);
        write(name + "/kept", "text");
        age(name);
    };
    // One that a process held when it ended without a word.
    const pid_t process = ::fork();
    if (process == 0) {
        tracewell::SnapshotDirectory killed(place);
        killed.write("names");
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(process, nullptr, 0), process);
    ASSERT_EQ(files().size(), 1u);
    const std::string left = files().front();
    const std::string kept[] = {".tracewell-shared", ".tracewell-longname", ".tracewell-linked",
                                ".tracewell-recent"};
    directory(kept[0], 0755);
    directory(kept[1], 0700);
    directory("elsewhere", 0700);
    std::filesystem::create_directory_symlink("elsewhere", path(kept[2]));
    directory(kept[3], 0700);
    write(".tracewell-recent/now", "");
    std::filesystem::create_directory_symlink(path("elsewhere"), path(left + "/link"));
    age(left);
    tracewell::SnapshotDirectory held(place);
    held.write("names");
    EXPECT_TRUE(!std::filesystem::exists(path(left)));
    // As it is when a design runs for long.
    held.remove();
    held.write("names");
    const std::vector<std::string> before = files();
    for (const std::string& name : before) {
        if (name.size() == left.size() && name != kept[0] && name != kept[3]) {
            age(name);
        }
    }
    tracewell::SnapshotDirectory another(place);
    EXPECT_EQ(files().size(), before.size() + 1);
    for (const std::string& name : kept) {
        EXPECT_EQ(read(name + "/kept"), "text") << name;
    }
    EXPECT_EQ(read("elsewhere/kept"), "text");
}

} // namespace
