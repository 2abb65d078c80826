// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"

#include "testing/Seed.h"

#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/WaveFile.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <regex>
#include <set>

using namespace tracewell;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class Selection : public Reading
{
protected:
    void record(const std::string& declarations) { RecordingBuilder(path(), declarations).close(); }

    std::vector<std::string> select(const std::vector<std::string>& arguments) const
    {
        const auto opened = WaveFile::open(path());
        const WaveFile& file = *opened;
        std::vector<std::string> labels;
        for (const Signal& signal : selectSignals(file, arguments)) {
            labels.push_back(signal.label);
        }
        return labels;
    }
};

} // namespace

TEST(Glob, hasTwoWildcardsAndTakesBracketsAsTheyAre)
{
    EXPECT_TRUE(matchesGlob("top.*", "top.a.b"));
    EXPECT_TRUE(matchesGlob("*.d?ta[*", "top.data[7:0]"));
    EXPECT_TRUE(matchesGlob("**", ""));
    EXPECT_TRUE(matchesGlob("a*b*c", "a_b_b_c"));
    EXPECT_FALSE(matchesGlob("top.?", "top.ab"));
    EXPECT_FALSE(matchesGlob("[ab]", "a"));
    EXPECT_FALSE(matchesGlob("a*b", "a_b_c"));
    EXPECT_FALSE(matchesGlob(std::string(40, '*') + "x", std::string(5000, 'a')));
}

TEST_F(Selection, findsNamesInEverySpellingAndTellsNamesakesApart)
{
    record(kSmallDesign);
    EXPECT_THAT(select({".top.dut.data", "top.clk"}), ElementsAre("top.dut.data[7:0]", "top.clk"));
    EXPECT_THAT(select({"top.?lk", "*clk"}), ElementsAre("top.clk", "top.dut.clk"));
    EXPECT_THAT(select({"top.dut.l*", "top.dut.*l", "top.dut.level"}),
                ElementsAre("top.dut.level"));
    EXPECT_THAT(select({"top.dut.dat?"}), ElementsAre("top.dut.data[7:0]"));
    EXPECT_THAT(select({"@0x10:4", "@3"}), ElementsAre("@16:4", "@3"));
    EXPECT_THAT(select({"top.dut.same"}), ElementsAre("top.dut.same", "top.dut.same#2"));
    EXPECT_THAT(select({"top.dut.same#2"}), ElementsAre("top.dut.same#2"));
    EXPECT_THAT(select({"top.dut.same#1"}), ElementsAre("top.dut.same"));
    record(
        "$var wire 1 ! a $end $var wire 1 \" a $end $var wire 1 # a#2 $end $enddefinitions $end");
    EXPECT_THAT(select({"*"}), ElementsAre("a", "a#2", "a#2#2"));
}

TEST(SelectionModel, everyNameOfARandomTableIsFoundAsInAListOfAllSpellings)
{
    std::mt19937 random(Tracewell::seeded(11));
    const std::vector<std::string> scopes = {"t", "", "a", "t.a", "gr\xFCn"};
    const std::vector<std::string> variables = {"a",   "a#2",     "a#2#2",   "a.a",          "b#1",
                                                "b#x", "x [3:0]", "gr\xFCn", "gr\xFDn [3:0]"};
    for (int round = 0; round < 200; ++round) {
        std::string text;
        for (int i = 0; i < 40; ++i) {
            const auto pick = random() % 5;
            text += pick == 0 ? "$scope module " + scopes[random() % scopes.size()] + " $end\n"
                    : pick == 1
                        ? "$upscope $end\n"
                        : "$var wire 4 ! " + variables[random() % variables.size()] + " $end\n";
        }
        SCOPED_TRACE(printable(text));
        SignalNames file("run.wdb");
        file.read(text + "$enddefinitions $end\n");
        const Declarations& table = file.declarations();
        std::vector<std::string> labels;
        std::vector<std::set<std::string>> spellings;
        std::map<std::string, int> seen;
        for (std::size_t i = 0; i < table.variables.size(); ++i) {
            const std::string full = table.fullName(i);
            const std::string plain =
                full.substr(0, full.size() - table.variables[i].range.str().size());
            std::string number;
            int& count = seen[printable(full)];
            while (
                count++ > 0 &&
                !seen.emplace(printable(full) + (number = "#" + std::to_string(count)), 1).second) {
            }
            labels.push_back(printable(full) + number);
            spellings.emplace_back();
            for (const std::string& name : {full, plain, printable(full), printable(plain)}) {
                spellings.back().insert({name, name + number});
            }
        }
        const std::vector<Signal> all = allSignals(file);
        ASSERT_EQ(all.size(), labels.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            const std::string scope = printable(table.scopePath(table.variables[i].scope));
            EXPECT_EQ(all[i].label, labels[i]);
            EXPECT_EQ(all[i].scope, scope.empty() ? "" : scope + ".");
            for (const std::string& name : spellings[i]) {
                std::vector<std::string> expected;
                for (std::size_t other = 0; other < all.size(); ++other) {
                    if (spellings[other].count(name) > 0) {
                        expected.push_back(labels[other]);
                    }
                }
                std::vector<std::string> found;
                for (const Signal& signal : selectSignals(file, {"." + name})) {
                    found.push_back(signal.label);
                }
                EXPECT_EQ(found, expected);
            }
        }
    }
}

TEST_F(Selection, scopeMeansAllThatIsInIt)
{
    record("$scope module t $end\n$var wire 1 ! a $end\n$scope module a $end\n"
           "$var wire 4 # b [3:0] $end\n$scope module c $end\n$var wire 1 $ d $end\n$upscope $end\n"
           "$upscope $end\n$scope module ab $end\n$var wire 1 % e $end\n$upscope $end\n"
           "$upscope $end\n$enddefinitions $end\n");
    EXPECT_THAT(select({"t.a.c", ".t.a."}), ElementsAre("t.a.c.d", "t.a.b[3:0]"));
    EXPECT_THAT(select({"t.a"}), ElementsAre("t.a"));
    EXPECT_EQ(select({"t"}).size(), 4u);
}

TEST_F(Selection, bitsOfAVectorAreASignalOfTheirOwnInEveryStore)
{
    std::string vcd = "$timescale 1 ns $end\n$scope module t $end\n$var reg 40 ! v [47:8] $end\n"
                      "$var reg 4 # up [0:3] $end\n$upscope $end\n$enddefinitions $end\n"
                      "#0\nbuz !\nb0010 #\n#1\nb0 !\n";
    for (int time = 2; time < 3000; ++time) {
        vcd += "#" + std::to_string(time) + "\nb1" + std::string(time < 900 ? "0" : "x") +
               std::string(30, '1') + (time % 2 ? "1001" : "1000") + " !\n";
    }
    write("run.vcd", vcd + "#3000\nb0011 #\n");
    for (const char* store : {"events", "indexed", "columns", "transitions"}) {
        SCOPED_TRACE(store);
        ASSERT_EQ(run({"import", "--store", store, path("run.vcd"), path()}).code, 0);
        EXPECT_EQ(output("values", {"t.v[42:41]", "t.v[9:8]", "t.up[3]", "--radix", "bin", "--csv",
                                    "--from", "898", "--to", "901"}),
                  "time,t.v[42:41],t.v[9:8],t.up[3]\n898,01,00,0\n899,01,01,0\n900,x1,00,0\n"
                  "901,x1,01,0\n");
        EXPECT_EQ(output("values", {"t.v[43:41]", "--radix", "t.v=bin", "--from", "2000", "--csv"}),
                  "time,t.v[43:41]\n900,1x1\n");
        EXPECT_EQ(output("previous", {"2999", "t.v[42:41]"}), "900\n");
        EXPECT_EQ(output("previous", {"2999", "t.v[43]"}), "2\n");
        EXPECT_EQ(output("previous", {"1", "t.v[9:8]"}), "0\n");
        EXPECT_EQ(output("next", {"2", "t.v[8:42]"}), "3\n");
        EXPECT_EQ(output("next", {"2", "t.v[42:41]"}), "900\n");
        EXPECT_EQ(output("next", {"900", "t.v[42:41]"}), "none\n");
        EXPECT_EQ(run({"diff", path(), path("run.vcd"), "t.v[9:8]", "t.up[0]"}).code, 0);
        EXPECT_THAT(run({"values", path(), "t.v[7:0]"}).error, HasSubstr("it has [47:8]"));
        EXPECT_EQ(run({"values", path(), "t.v", "--radix", "t.v=analog"}).code, 2);
    }
    write("other.vcd", std::regex_replace(vcd, std::regex("1001 !"), "0001 !"));
    EXPECT_EQ(run({"diff", path(), path("other.vcd"), "t.v[9:8]"}).code, 1); // where they end
    EXPECT_THAT(run({"diff", path(), path("other.vcd"), "t.v[11:9]", "--radix", "bin"}).out,
                HasSubstr("3 ns  t.v[11:9]  100      000"));
}

TEST_F(Selection, prefersANameToThePatternThatItLooksLike)
{
    record("$scope module t $end\n$var wire 1 ! a*b $end\n$var wire 1 \" axb $end\n"
           "$var wire 4 # mem[2] [3:0] $end\n$var wire 1 $ gr\xFCn $end\n$var wire 1 % @7 $end\n"
           "$upscope $end\n$var wire 1 & @8 $end\n$enddefinitions $end\n");
    EXPECT_THAT(select({"t.a*b"}), ElementsAre("t.a*b"));
    EXPECT_THAT(select({"t.a?b"}), ElementsAre("t.a*b", "t.axb"));
    EXPECT_THAT(select({"t.mem[2]"}), ElementsAre("t.mem[2][3:0]"));
    EXPECT_THAT(select({"t.gr\xFCn"}), ElementsAre("t.gr\xEF\xBF\xBDn"));
    EXPECT_THAT(select({"t.gr\xEF\xBF\xBDn"}), ElementsAre("t.gr\xEF\xBF\xBDn"));
    EXPECT_THAT(select({"@8", "@9"}), ElementsAre("@8", "@9"));
}

TEST_F(Selection, namesTheNearestWhenThereIsNone)
{
    record(kSmallDesign);
    const auto errorOf = [&](const std::string& name) {
        const Result result = run({"values", path(), name});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.error.find('\n'), std::string::npos);
        return result.error;
    };
    EXPECT_THAT(errorOf("clk"), HasSubstr("did you mean top.clk or top.dut.clk?"));
    EXPECT_THAT(errorOf("k"), HasSubstr("tracewell signals"));
    EXPECT_THAT(errorOf("top.dut.DATA"), HasSubstr("did you mean top.dut.data[7:0]"));
    EXPECT_THAT(errorOf("top.dut.lvel"), HasSubstr("top.dut.level"));
    EXPECT_THAT(errorOf("completely_else"), HasSubstr("tracewell signals"));
    EXPECT_THAT(errorOf("nothing.*"), HasSubstr("no signal \"nothing.*\""));
    EXPECT_THAT(errorOf(".[1]"), HasSubstr("no signal \".[1]\""));
    EXPECT_THAT(errorOf(""), HasSubstr("is empty; name one"));
    EXPECT_THAT(errorOf("@12x"), HasSubstr("@ADDRESS"));
    EXPECT_THAT(errorOf("@0:99999999"), HasSubstr("at most 65536"));
}

TEST_F(Selection, recordingWithoutNamesGivesBytes)
{
    RecordingBuilder builder(path(), "");
    builder.bytes(5, 100, "\x01\xA5");
    builder.bytes(7, 101, "\x5A");
    builder.close();
    EXPECT_EQ(output("values", {"@100:2", "@200"}), "time  @100:2  @200\n"
                                                    "   5  01a5\n"
                                                    "   7  015a\n");
    for (const char* command : {"signals", "draw"}) {
        const Result result = run({command, path()});
        EXPECT_EQ(result.code, 1);
        EXPECT_THAT(result.error, HasSubstr("it holds no name table"));
    }
    EXPECT_THAT(run({"values", path(), "top.clk"}).error, HasSubstr("@ADDRESS:BYTES"));
    EXPECT_THAT(run({"values", path(), "@1", "--from", "1ns"}).error, HasSubstr("no timescale"));
    EXPECT_THAT(output("draw", {"@100:2"}), HasSubstr("01a5"));
}

TEST_F(Selection, refusesVectorsThatNoFileOfThisSizeCanHold)
{
    record("$var wire 16000000 ! huge $end\n$enddefinitions $end\n");
    const Result result = run({"values", path(), "huge"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.error, HasSubstr("more than a file of this size can tell"));
}
