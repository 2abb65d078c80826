// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"
#include "testing/Seed.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include <sys/stat.h>

namespace {

using ::testing::AnyOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

/// Runs of a design with signals of all types, dumped by GHDL.
class Ghw : public ImportExport
{
protected:
    void SetUp() override
    {
        if (std::system("command -v ghdl > /dev/null") != 0) {
            GTEST_SKIP() << "needs ghdl";
        }
        ASSERT_TRUE(ghdl("-a", std::string(TEST_DESIGNS) + "/types.vhd"));
        ASSERT_TRUE(ghdl("-e", "tb"));
        ASSERT_TRUE(simulate("run.ghw", "--vcd=" + path("run.vcd")));
    }

    bool ghdl(const std::string& step, const std::string& rest) const
    {
        const std::string command = "cd " + path("") + " && ghdl " + step +
                                    " --std=08 --workdir=" + path("") + " " + rest +
                                    " > /dev/null 2>&1";
        return std::system(command.c_str()) == 0;
    }
    bool simulate(const std::string& wave, const std::string& more = {}) const
    {
        return ghdl("-r", "tb --wave=" + path(wave) + " " + more + " --stop-time=400ns");
    }
    std::string values(const std::string& signals) const
    {
        return run({"values", path("run.ghw"), signals, "--to", "16ns"}).out;
    }
};

TEST_F(Ghw, everyTypeIsReadAsItsUserKnowsIt)
{
    const std::string names = run({"signals", path("run.ghw")}).out;
    for (const char* line :
         {"tb.r.b\\[3:0\\] +reg +4 +unsigned", "tb.mem\\(3\\)\\[7:0\\] +reg +8",
          "tb.ra\\(2\\).c +integer", "tb.m2\\(1,2\\) +reg +1 +bit", "tb.rl +real",
          "tb.t +longint +64 +time", "tb.s +string", "tb.u.q\\[7:0\\] +reg +8 +out",
          "tb.u.st +reg +2 +inout +state_t", "tb.g\\(1\\).x +reg"}) {
        EXPECT_THAT(names, ContainsRegex(line));
    }
    EXPECT_THAT(names, Not(HasSubstr("null_v")));
    EXPECT_THAT(values("tb.st"), ContainsRegex(" 0  idle\n.* 5000000  run\n.* 15000000  stop\n"));
    EXPECT_THAT(values("tb.b"), ContainsRegex(" 0  false\n.*true\n"));
    EXPECT_THAT(values("tb.s"), ContainsRegex("\"hello\"\n.*\"hel\u00e4o\"\n"));
    EXPECT_THAT(values("tb.rl"), HasSubstr("0.505\n"));
    EXPECT_THAT(values("tb.r.c"), ContainsRegex(" -5\n.* -6\n"));
    EXPECT_THAT(values("tb.t"), ContainsRegex(" 1000000\n.* 5000000\n"));
    EXPECT_THAT(run({"values", path("run.ghw"), "tb.asc", "--radix", "bin", "--to", "0"}).out,
                HasSubstr("01xzwlh-"));
    EXPECT_THAT(run({"values", path("run.ghw"), "tb.sg", "--radix", "dec", "--to", "0"}).out,
                HasSubstr("-128"));
}

/// GHDL writes the same run as a VCD, but for what VCDs cannot hold.
TEST_F(Ghw, tellsWhatTheVcdOfTheRunTells)
{
    const std::string both = run({"signals", path("run.vcd"), "--json"}).out;
    const Result result = run({"diff", path("run.ghw"), path("run.vcd"), "--json"});
    EXPECT_THAT(result.out, HasSubstr("\"differences\": []"));
    EXPECT_THAT(result.out, HasSubstr("\"onlyInB\": []"));
    ASSERT_EQ(run({"export", path("run.ghw"), path("run.fst")}).code, 0);
    EXPECT_EQ(run({"diff", path("run.fst"), path("run.ghw")}).code, 0);
    ASSERT_EQ(std::system(("gzip -k " + path("run.ghw")).c_str()), 0);
    EXPECT_EQ(run({"diff", path("run.ghw.gz"), path("run.ghw")}).code, 0);
    // While the simulation writes it.
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    std::thread simulation([&] { simulate("pipe"); });
    const Result piped = run({"diff", path("pipe"), path("run.ghw")});
    simulation.join();
    EXPECT_EQ(piped.code, 0) << piped.out << piped.error;
}

TEST_F(Ghw, damageAndCutsAreTold)
{
    const std::string good = read("run.ghw");
    for (std::size_t size = 0; size < good.rfind("ECY"); size += 97) {
        write("bad.ghw", good.substr(0, size));
        const Result result = run({"import", path("bad.ghw"), path("out.wdb")});
        EXPECT_EQ(result.code, 1) << size;
        EXPECT_NE(result.error, "");
    }
    write("bad.ghw", good.substr(0, good.size() * 3 / 4));
    const Result cut = run({"values", path("bad.ghw"), "tb.st", "--to", "16ns"});
    EXPECT_EQ(cut.out, values("tb.st"));
    EXPECT_THAT(cut.error, HasSubstr("everything before was taken"));
    std::mt19937 random(Tracewell::seeded(8));
    for (int i = 0; i < 300; ++i) {
        std::string bad = good;
        bad[random() % bad.size()] ^= static_cast<char>(1 << random() % 8);
        write("bad.ghw", bad);
        const Result result = run({"export", path("bad.ghw"), path("out.vcd")});
        EXPECT_THAT(result.code, AnyOf(0, 1));
        EXPECT_TRUE(result.code == 0 || result.error != "");
    }
}

} // namespace
