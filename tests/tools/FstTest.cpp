// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"
#include "testing/ForkedProcess.h"
#include "testing/Seed.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <fstapi.h>
#include <unistd.h>

namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

/// Files of FST that the sources of its writer, and its tools, make.
class Fst : public ImportExport
{
protected:
    static bool hasTools() { return std::system("command -v vcd2fst > /dev/null") == 0; }

    void expectSame(const std::string& a, const std::string& b) const
    {
        const Result result = run({"diff", path(a), path(b)});
        EXPECT_EQ(result.code, 0) << result.out << result.error;
    }

    /// A run with all kinds of values, in so many steps.
    static std::string vcd(int steps)
    {
        std::string text = "$timescale 100 ps $end\n$scope module top $end\n"
                           "$var wire 1 ! bit $end\n$var reg 12 \" bus [11:0] $end\n"
                           "$var wire 70 # wide [69:0] $end\n$var real 64 $ level $end\n"
                           "$var string 1 % text $end\n$var event 1 & tick $end\n"
                           "$var wire 12 \" alias [11:0] $end\n$var reg 12 ' twin [11:0] $end\n"
                           "$upscope $end\n$enddefinitions $end\n";
        std::mt19937 random(Tracewell::seeded(5));
        for (int i = 0; i < steps; ++i) {
            const auto letters = [&](std::size_t width, const char* from, std::size_t kinds) {
                std::string value;
                for (std::size_t bit = 0; bit < width; ++bit) {
                    value += from[random() % kinds];
                }
                return value;
            };
            const std::string bus = letters(12, "01xz", random() % 3 == 0 ? 4 : 2);
            text += "#" + std::to_string(7 * i) + "\n" + letters(1, "01xzuwlh-", 9) + "!\nb" + bus +
                    " \"\nb" + bus + " '\nb" + letters(70, "01x", i % 5 == 0 ? 3 : 2) + " #\nr" +
                    std::to_string(i * 0.25) + " $\nsstep_" + std::to_string(i) + " %\n" +
                    (i % 3 == 0 ? "1&\n" : "");
        }
        return text;
    }
};

TEST_F(Fst, everyPackingIsReadFromFilesPipesAndPackedFiles)
{
    write("in.vcd", vcd(200));
    ASSERT_EQ(run({"export", path("in.vcd"), path("own.fst")}).code, 0);
    expectSame("own.fst", "in.vcd");
    ASSERT_EQ(std::system(("gzip -k " + path("own.fst")).c_str()), 0);
    expectSame("own.fst.gz", "in.vcd");
    ASSERT_EQ(run({"import", path("own.fst"), path("own.wdb"), "--store", "columns"}).code, 0);
    expectSame("own.wdb", "in.vcd");
    EXPECT_EQ(run({"values", path("own.fst"), "top.bus"}).out,
              run({"values", path("own.wdb"), "top.bus"}).out);
    if (!hasTools()) {
        GTEST_SKIP() << "needs vcd2fst";
    }
    for (const char* options : {"-4", "-F", "-Z", "-4 -c", "-F -p"}) {
        const std::string command = std::string("vcd2fst ") + options + " " + path("in.vcd") + " " +
                                    path("out.fst") + " > /dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
        SCOPED_TRACE(options);
        expectSame("out.fst", "in.vcd");
    }
}

TEST_F(Fst, whatIsSaidOfVariablesIsKept)
{
    write("in.vcd", "$timescale 1 us $end\n"
                    "$attrbegin misc 07 state 3 IDLE BUSY two\\x20words 00 01 10 1 $end\n"
                    "$scope vhdl_architecture top $end\n"
                    "$attrbegin misc 08 direction 2 $end\n$attrbegin misc 02 std_logic 0 $end\n"
                    "$var logic 1 ! q $end\n"
                    "$attrbegin misc 07 \"\" 1 $end\n$var reg 2 \" st [1:0] $end\n"
                    "$attrbegin misc 08 signed 1 $end\n$var reg 8 # level [7:0] $end\n"
                    "$scope vhdl_record r $end\n$var wire 1 $ \\odd[3] $end\n$upscope $end\n"
                    "$upscope $end\n$enddefinitions $end\n"
                    "#0\n1!\nb10 \"\nb11111110 #\n0$\n");
    ASSERT_EQ(run({"export", path("in.vcd"), path("a.fst")}).code, 0);
    ASSERT_EQ(run({"import", path("a.fst"), path("a.wdb")}).code, 0);
    ASSERT_EQ(run({"export", path("a.wdb"), path("b.vcd")}).code, 0);
    for (const char* name : {"a.fst", "a.wdb", "b.vcd"}) {
        SCOPED_TRACE(name);
        const std::string json = run({"signals", path(name), "--json"}).out;
        EXPECT_THAT(json, HasSubstr("\"direction\":\"out\",\"type\":\"std_logic\""));
        EXPECT_THAT(json, HasSubstr("\"signed\":true"));
        EXPECT_THAT(json, HasSubstr("\"10\":\"two words\""));
        EXPECT_THAT(json, HasSubstr("top.r.\\\\odd[3]"));
        const std::string values =
            run({"values", path(name), "top.st", "top.level", "--radix", "top.level=dec"}).out;
        EXPECT_THAT(values, HasSubstr("two words"));
        EXPECT_THAT(values, HasSubstr("-2"));
        EXPECT_THAT(read("b.vcd"), HasSubstr("$scope vhdl_record r $end"));
    }
}

/// Blocks that were finished, and the names from the file beside it.
TEST_F(Fst, aKilledWriterLeavesItsWholeBlocks)
{
    const std::string file = path("killed.fst");
    Tracewell::ForkedProcess writer([&] {
        void* const fst = fstWriterCreate(file.c_str(), 1);
        fstWriterSetTimescale(fst, -9);
        fstWriterSetScope(fst, FST_ST_VCD_MODULE, "top", nullptr);
        const fstHandle count =
            fstWriterCreateVar(fst, FST_VT_VCD_REG, FST_VD_INPUT, 4, "count [3:0]", 0);
        fstWriterSetUpscope(fst);
        const char* const values[] = {"0000", "0001", "0010", "0011", "0100", "0101"};
        for (unsigned int i = 0; i < 6; ++i) {
            fstWriterEmitTimeChange(fst, 10 * i);
            fstWriterEmitValueChange(fst, count, values[i]);
            if (i % 2 == 1) {
                fstWriterFlushContext(fst);
            }
        }
        ::_exit(0);
        return true;
    });
    ASSERT_TRUE(writer.succeeds());
    const Result names = run({"signals", file});
    const Result values = run({"values", file, "top.count"});
    EXPECT_EQ(values.code, 1);
    EXPECT_THAT(values.error, HasSubstr("its writer was killed or is still at work"));
    EXPECT_THAT(names.out, HasSubstr("top.count[3:0]  reg       4  in"));
    EXPECT_THAT(values.out, ::testing::ContainsRegex(" 0  0\n +10  1\n"));
    ASSERT_EQ(::unlink((file + ".hier").c_str()), 0);
    EXPECT_THAT(run({"values", file, "top.count"}).error, HasSubstr("killed.fst.hier"));
}

TEST_F(Fst, damageIsToldAndLeftOutByLenientReading)
{
    write("in.vcd", vcd(40));
    ASSERT_EQ(run({"export", path("in.vcd"), path("good.fst")}).code, 0);
    const std::string good = read("good.fst");
    for (std::size_t size = 0; size < good.size(); size += 61) {
        write("bad.fst", good.substr(0, size));
        const Result result = run({"import", path("bad.fst"), path("out.wdb")});
        EXPECT_EQ(result.code, 1) << size;
        EXPECT_NE(result.error, "");
    }
    std::mt19937 random(Tracewell::seeded(6));
    for (int i = 0; i < 300; ++i) {
        std::string bad = good;
        bad[random() % bad.size()] ^= static_cast<char>(1 << random() % 8);
        write("bad.fst", bad);
        const Result strict = run({"export", path("bad.fst"), path("out.vcd")});
        const Result lenient = run({"export", path("bad.fst"), path("out.vcd"), "--lenient"});
        EXPECT_THAT(strict.code, AnyOf(0, 1));
        EXPECT_TRUE(strict.code == 0 || strict.error != "");
        EXPECT_TRUE(lenient.code == 0 || lenient.error != "");
    }
    // Sizes that no file could hold.
    for (const std::size_t at :
         {330U + 1, 330U + 33, static_cast<unsigned int>(good.size()) - 40}) {
        std::string bad = good;
        bad.replace(at, 8, std::string(2, '\0') + std::string(6, '\xff'));
        write("bad.fst", bad);
        EXPECT_EQ(run({"import", path("bad.fst"), path("out.wdb")}).code, 1) << at;
    }
}

} // namespace
