// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include "ModelRecorder.h"

#include "PlainVcd.h"

#include "testing/ChildProcess.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <sys/wait.h>

namespace {

using ::testing::HasSubstr;
using Tracewell::RunningProgram;

constexpr long long kStep = 5;
constexpr long long kGap = 10000000000 - kStep;

/// The time of a dump.
long long timeOf(int step)
{
    return kStep * step + (step > 50 ? kGap : 0);
}

int statusOf(const std::string& command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// One test bench, which differs in an include and a name, traces a model by Verilator's own class
/// and by ours.
class Verilator : public ImportExport
{
protected:
    static void SetUpTestSuite()
    {
        if (statusOf("command -v verilator >/dev/null") != 0) {
            return;
        }
        s_models = ::testing::TempDir() + "verilator_models_XXXXXX";
        ::mkdtemp(s_models.data());
        // Of the library; the run-time library of Verilator makes unaligned accesses.
        std::string sanitize = SANITIZE;
        sanitize = sanitize.empty() ? "" : " -fsanitize=" + sanitize;
        const std::string ours =
            " " VERILATOR_INCLUDE "/verilated_tracewell_c.cpp -CFLAGS '-DWITH_TRACEWELL"
            " -I" VERILATOR_INCLUDE " -iquote" VERILATOR_INCLUDE
            "/vcd' -LDFLAGS '-L" VERILATOR_LIBRARY " -ltracewell_verilator"
            " -Wl,-rpath," VERILATOR_LIBRARY " -Wl,-rpath-link," KERNEL_LIBRARY +
            sanitize + "'";
        build("vcd", "");
        build("ours", ours);
        build("threads", ours + " --threads 2 --trace-threads 2");
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(s_models); }
    void SetUp() override
    {
        if (s_models.empty()) {
            GTEST_SKIP() << "verilator is not installed";
        }
    }

    static void build(const std::string& name, const std::string& options)
    {
        const std::string log = s_models + "/" + name + ".log";
        ASSERT_EQ(statusOf("verilator --cc --exe --build -j 2 --trace --trace-structs"
                           " --trace-max-width 8192 --trace-max-array 64"
                           " --trace-underscore --timing -Wno-fatal --top-module shapes"
                           " -MAKEFLAGS 'OPT_FAST=-O0 OPT_GLOBAL=-O0'"
                           " " DESIGNS "/shapes.sv " DESIGNS "/shapes_bench.cpp --Mdir " +
                           s_models + "/" + name + options + " >" + log + " 2>&1"),
                  0)
            << log << (std::system(("tail -5 " + log).c_str()) != 0 ? "" : "");
    }

    /// What the model's process ends with.
    int simulate(const std::string& model, const std::string& arguments,
                 const std::string& before = "") const
    {
        return statusOf("cd '" + path("") + "' && " + before + " " + s_models + "/" + model +
                        "/Vshapes " + arguments + " >out 2>err");
    }

    static PlainVcd sorted(PlainVcd vcd)
    {
        std::sort(vcd.variables.begin(), vcd.variables.end(),
                  [](const auto& a, const auto& b) { return a.declaration < b.declaration; });
        vcd.timescale.erase(std::remove(vcd.timescale.begin(), vcd.timescale.end(), ' '),
                            vcd.timescale.end());
        return vcd;
    }
    PlainVcd reference(const std::string& arguments) const
    {
        EXPECT_EQ(simulate("vcd", "in.vcd " + arguments), 3);
        return sorted(readPlainVcd(path("in.vcd")));
    }
    PlainVcd exported(const std::string& file = "out.wdb") const
    {
        const Result result = run({"export", path(file), path("out.vcd")});
        EXPECT_EQ(result.code, 0) << result.error;
        return sorted(readPlainVcd(path("out.vcd")));
    }
    static PlainVcd cut(PlainVcd vcd, long long from, long long to)
    {
        for (PlainVcd::Variable& variable : vcd.variables) {
            auto& history = variable.history;
            history.erase(std::remove_if(history.begin(), history.end(),
                                         [&](const auto& change) {
                                             return change.first < from || change.first > to;
                                         }),
                          history.end());
        }
        vcd.lastTime = std::min(vcd.lastTime, to);
        return vcd;
    }

    static std::string s_models;
};

std::string Verilator::s_models;

TEST_F(Verilator, sameRunIsRecordedAsByItsOwnVcd)
{
    const PlainVcd expected = reference("400 close");
    ASSERT_GE(expected.variables.size(), 84u);
    // The thread sanitizer does not know the fence that goes with Verilator's way of waiting.
    std::vector<std::string> models{"ours"};
    if (std::string(SANITIZE) != "thread") {
        models.emplace_back("threads");
    }
    for (const std::string& model : models) {
        for (const std::string store : {"", "events", "transitions"}) {
            SCOPED_TRACE(model + " " + store);
            ASSERT_EQ(simulate(model, "out.wdb 400 close " + store), 3);
            EXPECT_EQ(differenceOf(expected, exported()), "");
            const Result result = run({"diff", path("in.vcd"), path("out.wdb")});
            EXPECT_EQ(result.code, 0) << result.error;
        }
    }
    EXPECT_EQ(simulate("ours", "out.wdb 300 close", "TRACEWELL_STORE=transitions"), 3);
    EXPECT_EQ(differenceOf(cut(expected, 0, timeOf(299)), exported()), "");
}

TEST_F(Verilator, partOfTheNamesCanBeChosen)
{
    PlainVcd expected = reference("100 close");
    auto& variables = expected.variables;
    variables.erase(std::remove_if(variables.begin(), variables.end(),
                                   [](const auto& variable) {
                                       return variable.declaration.find(" lane[1].") ==
                                              std::string::npos;
                                   }),
                    variables.end());
    ASSERT_EQ(simulate("ours", "out.wdb 100 part"), 3);
    EXPECT_EQ(variables.size(), 5u);
    EXPECT_EQ(differenceOf(expected, exported()), "");
}

TEST_F(Verilator, secondFileOfOneTraceStartsWithAllValues)
{
    const PlainVcd all = reference("300 again");
    ASSERT_EQ(simulate("ours", "out.wdb 300 again"), 3);
    EXPECT_EQ(differenceOf(all, exported()), "");
    EXPECT_EQ(differenceOf(sorted(readPlainVcd(path("in.vcd2"))), exported("out.wdb2")), "");
}

TEST_F(Verilator, nothingIsKnownWhileTheTraceIsOff)
{
    const PlainVcd expected = reference("300 close");
    for (const std::string store : {"events", "transitions"}) {
        ASSERT_EQ(simulate("ours", "out.wdb 300 off " + store), 3);
        const PlainVcd found = exported();
        EXPECT_EQ(differenceOf(cut(expected, 0, timeOf(99)), cut(found, 0, timeOf(99))), "");
        EXPECT_EQ(differenceOf(cut(expected, timeOf(201), timeOf(299)),
                               cut(found, timeOf(201), timeOf(299))),
                  "");
        for (const auto& variable : cut(found, timeOf(100), timeOf(200)).variables) {
            if (variable.declaration == "wire 1 TOP. clk") {
                EXPECT_EQ(variable.history,
                          (PlainVcd::History{{timeOf(100), "bx"}, {timeOf(200), "b0"}}));
            }
        }
    }
}

TEST_F(Verilator, lastOfARunIsKept)
{
    const PlainVcd expected = reference("400 close");
    const long long from = timeOf(399) - 500;
    ASSERT_EQ(simulate("ours", "out.wdb 400 close", "TRACEWELL_LAST=500"), 3);
    const PlainVcd found = exported();
    EXPECT_EQ(differenceOf(cut(expected, from + 1, timeOf(399)), cut(found, from + 1, timeOf(399))),
              "");
    for (const auto& variable : found.variables) {
        EXPECT_TRUE(variable.history.empty() || variable.history.front().first >= from)
            << variable.declaration;
    }
}

TEST_F(Verilator, fileOfRunThatEndsEarlyIsClosedAndOfKilledOneHasWhatWasSynced)
{
    const PlainVcd expected = reference("400 close");
    for (const auto& [mode, status] :
         {std::pair("exit", 3), std::pair("thread", 3), std::pair("abort", -SIGABRT),
          std::pair("int", -SIGINT), std::pair("term", -SIGTERM)}) {
        SCOPED_TRACE(mode);
        const std::string arguments = std::string("out.wdb 400 ") + mode;
        ASSERT_EQ(simulate("ours", arguments, "TRACEWELL_LAST=1s ulimit -c 0; exec"), status);
        EXPECT_EQ(differenceOf(expected, exported()), "");
        ASSERT_EQ(simulate("ours", arguments + " transitions", "ulimit -c 0; exec"), status);
        EXPECT_EQ(differenceOf(expected, exported()), "");
    }

    ASSERT_EQ(simulate("ours", "out.wdb 400 kill", "TRACEWELL_SYNC=0.000000001 exec"), -SIGKILL);
    const PlainVcd found = exported();
    EXPECT_GE(found.lastTime, timeOf(300));
    EXPECT_EQ(differenceOf(cut(expected, 0, found.lastTime), found), "");
}

TEST_F(Verilator, troubleOfTheOutputIsALineAndTheRunGoesOn)
{
    EXPECT_EQ(simulate("ours", "missing/out.wdb 400 close"), 3);
    EXPECT_THAT(read("err"), HasSubstr("missing/out.wdb"));
    const std::string line = read("err");
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;

    EXPECT_EQ(simulate("ours", "out.wdb 20000 close", "trap '' XFSZ; ulimit -f 64;"), 3);
    EXPECT_THAT(read("err"), HasSubstr("out.wdb"));
    EXPECT_THAT(read("err"), HasSubstr("Tracing to out.wdb has stopped"));
    EXPECT_LE(std::filesystem::file_size(path("out.wdb")), 65536u);

    EXPECT_EQ(simulate("ours", "out2.wdb 10 second"), 3);
    EXPECT_EQ(read("err"), "tracewell: out2.wdb2: another trace of this process is open, and there "
                           "can be one; close that first\n");
    EXPECT_EQ(simulate("ours", "out2.wdb 10 nowhere"), 3);
    EXPECT_EQ(read("err"),
              "tracewell: no variable is traced; does dumpvars() choose a scope that there is?\n");
    EXPECT_EQ(simulate("ours", "'' 10 close"), 3);
    EXPECT_EQ(read("err"), "tracewell: a trace needs a name for its file\n");
    EXPECT_EQ(simulate("ours", "out2.wdb 10 close nowhere"), 3);
    EXPECT_EQ(read("err"),
              "tracewell: nowhere is no store; there are events, columns and transitions\n");
    EXPECT_EQ(simulate("ours", "out2.wdb 10 close",
                       "TRACEWELL_SYNC=soon TRACEWELL_LIVE=-1 TRACEWELL_LAST=1lightyear"),
              3);
    EXPECT_EQ(read("err"),
              "tracewell: TRACEWELL_SYNC=soon is no number of seconds; write 0.5, say, or "
              "0 for never\n"
              "tracewell: TRACEWELL_LIVE=-1 is no channel number; write one from 0 to "
              "1000000\n"
              "tracewell: TRACEWELL_LAST: \"1lightyear\" is no time; write a number "
              "and, if need be, a unit: 12.5us\n");
}

TEST_F(Verilator, viewerSeesARunThatGoesOn)
{
    const PlainVcd expected = reference("6000 close");
    RunningProgram model({s_models + "/ours/Vshapes", "none", "6000", "live"}, path(""));
    RunningProgram viewer({TRACEWELL_PROGRAM, "follow", "out.wdb", "--channel", "911"}, path(""));
    ASSERT_TRUE(viewer.waitForOutput("following"));
    model.signal(SIGTERM);
    model.wait();
    EXPECT_EQ(viewer.wait().exitCode(), 0);
    const PlainVcd found = exported();
    const auto clock =
        std::find_if(found.variables.begin(), found.variables.end(), [](const auto& variable) {
            return variable.declaration == "wire 1 TOP. clk";
        });
    ASSERT_TRUE(clock != found.variables.end());
    ASSERT_GT(clock->history.size(), 10u);
    // The viewer is told all values when it comes.
    const long long from = clock->history[0].first + 1;
    EXPECT_EQ(differenceOf(cut(expected, from, found.lastTime), cut(found, from, found.lastTime)),
              "");
}

/// An array `a` of two words, and a variable whose escaped name is that of the first one.
TEST_F(ImportExport, wordsOfArraysStayApartFromVariablesOfTheirName)
{
    constexpr auto kBits = tracewell::ModelRecorder::Kind::Bits;
    constexpr tracewell::ModelRecorder::Range kRange{true, 3, 0};
    constexpr int kIndex = 0;
    tracewell::ModelRecorder recorder({});
    recorder.beginNames("1ns");
    recorder.declare(1, "top $end a", kBits, &kIndex, kRange);
    recorder.declare(2, "top $end a[0]", kBits, nullptr, kRange);
    recorder.declare(2, "top $end a[0]", kBits, nullptr, kRange);
    ASSERT_TRUE(recorder.openFile(path("out.wdb").c_str(), "events"));
    recorder.setTime(0);
    recorder.changeBits(1, 5);
    recorder.changeBits(2, 6);
    recorder.close();
    ASSERT_EQ(run({"export", path("out.wdb"), path("out.vcd")}).code, 0);
    const PlainVcd vcd = readPlainVcd(path("out.vcd"));
    ASSERT_EQ(vcd.variables.size(), 2u);
    for (const std::size_t i : {0u, 1u}) {
        EXPECT_EQ(vcd.variables[i].declaration, "wire 4 top. \\$end. a[0] [3:0]");
        EXPECT_EQ(vcd.variables[i].history[0].second, i == 0 ? "b0101" : "b0110");
    }
}

} // namespace
