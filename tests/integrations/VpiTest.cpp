// SPDX-License-Identifier: BSD-3-Clause

#include "PlainVcd.h"
#include "testing/ChildProcess.h"
#include "testing/TestFiles.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <utility>

namespace Tracewell {

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// The plug-in in real simulators.
class VpiPlugIn : public ::testing::TestWithParam<const char*>
{
protected:
    using Arguments = std::vector<std::string>;

    /// False, and the test is skipped, where the simulator is not installed.
    bool has(const std::string& program)
    {
        if (!runProgram({"/bin/sh", "-c", "command -v " + program}, m_files.path("")).out.empty()) {
            return true;
        }
        skip(program);
        return false;
    }
    void skip(const std::string& program) { GTEST_SKIP() << program << " is not installed"; }

    Outcome shell(const std::string& commands) const
    {
        return runProgram(
            {"/bin/sh", "-c", "D='" VPI_DESIGNS "'; M='" VPI_DIRECTORY "'; " + commands},
            m_files.path(""));
    }
    Outcome icarus(const std::string& design, const std::string& arguments) const
    {
        return shell("iverilog -g2012 -o design " + design +
                     " && exec vvp -n -M $M -m tracewell design " + arguments);
    }

    std::map<std::string, PlainVcd::History> read(const std::string& vcd) const
    {
        std::map<std::string, PlainVcd::History> histories;
        for (const PlainVcd::Variable& variable : readPlainVcd(m_files.path(vcd)).variables) {
            // Without kind and width; GHDL sets no blank before a range.
            std::string name = variable.declaration;
            name.erase(0, name.find(' ', name.find(' ') + 1) + 1);
            name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
            histories[name] = variable.history;
            for (auto& [time, value] : histories[name]) {
                // Icarus Verilog writes 16 digits of a real.
                if (value[0] == 'r') {
                    value = fmt::format("r{:.16g}", std::stod(value.substr(1)));
                }
            }
        }
        return histories;
    }
    /// Of a recording, by the command line.
    std::map<std::string, PlainVcd::History> exported(const std::string& wdb,
                                                      bool isWhole = true) const
    {
        const Outcome outcome =
            runProgram({VPI_TRACEWELL, "export", wdb, "exported.vcd"}, m_files.path(""));
        EXPECT_EQ(outcome.exitCode(), isWhole ? 0 : 1) << outcome.describe();
        return read("exported.vcd");
    }
    /// What `diff` says of a dump and a recording but for signals that are only in the latter.
    std::string differences(const std::string& ignored) const
    {
        return runProgram({"/bin/sh", "-c",
                           VPI_TRACEWELL " diff dump.vcd run.wdb --ignore '" + ignored +
                               "' | grep -v 'only in run.wdb'"},
                          m_files.path(""))
            .out;
    }
    std::string info(const std::string& wdb) const
    {
        return runProgram({VPI_TRACEWELL, "info", wdb}, m_files.path("")).out;
    }

    TestDirectory m_files;
};

void expectAll(const std::map<std::string, PlainVcd::History>& expected,
               const std::map<std::string, PlainVcd::History>& recorded)
{
    for (const auto& [name, history] : expected) {
        const auto found = recorded.find(name);
        if (found == recorded.end()) {
            ADD_FAILURE() << name << " is missing";
        } else {
            EXPECT_EQ(found->second, history) << name;
        }
    }
}

TEST_P(VpiPlugIn, recordsWhatIcarusDumps)
{
    if (!has("iverilog")) {
        return;
    }
    const std::string tops = "-s every_kind -s other_top $D/every_kind.sv";
    for (const std::string how : {"", "+tasks "}) {
        const Outcome outcome =
            icarus(tops, how + "+tracewell=run.wdb +tracewell-store=" + GetParam());
        ASSERT_EQ(outcome.exitCode(), 0) << outcome.describe();
        EXPECT_THAT(outcome.err, IsEmpty());
        std::map<std::string, PlainVcd::History> dumped = read("dump.vcd");
        ASSERT_EQ(dumped.size(), 89u);
        EXPECT_EQ(differences("every_kind.tick"),
                  how.empty() ? "only in dump.vcd: every_kind.\\memory[1][15:0]\n"
                                "only in dump.vcd: every_kind.\\memory[3][15:0]\n"
                              : "");
        if (how.empty()) {
            // Words of memories are recorded when they are named.
            dumped.erase("every_kind.\\memory[1][15:0]");
            dumped.erase("every_kind.\\memory[3][15:0]");
        }
        // $dumpvars and $dumpon dump an event as if it fired.
        PlainVcd::History& firings = dumped["every_kind.tick"];
        firings.erase(std::remove_if(firings.begin(), firings.end(),
                                     [](const auto& each) { return each.first % 2400 == 0; }),
                      firings.end());
        EXPECT_GT(firings.size(), 3u);
        const auto recorded = exported("run.wdb");
        expectAll(dumped, recorded);
        EXPECT_EQ(recorded.at("every_kind.two.2.STEP")[0].second,
                  "b00000000000000000000000000000101");
    }
}

TEST_P(VpiPlugIn, recordsWhatGhdlDumps)
{
    if (!has("ghdl")) {
        return;
    }
    const Outcome outcome =
        shell("ghdl -a --std=08 $D/../../tools/designs/nine_states.vhd && ghdl -e --std=08 "
              "nine_states && "
              "exec env TRACEWELL=run.wdb TRACEWELL_STORE=" +
              std::string(GetParam()) +
              " ghdl -r --std=08 nine_states --vcd=dump.vcd --vpi=$M/tracewell.vpi");
    ASSERT_EQ(outcome.exitCode(), 0) << outcome.describe();
    std::map<std::string, PlainVcd::History> dumped = read("dump.vcd");
    ASSERT_EQ(dumped.size(), 10u);
    EXPECT_EQ(dumped.erase("nine_states.level"), 1u);
    EXPECT_THAT(outcome.err, HasSubstr("GHDL does not offer the values of real numbers"));
    EXPECT_EQ(differences("nine_states.level"), "");
    const auto recorded = exported("run.wdb");
    expectAll(dumped, recorded);
    EXPECT_EQ(recorded.at("nine_states.hue").size(), 41u);
}

/// Signals while the simulation runs on for ever, after it has flushed.
TEST_P(VpiPlugIn, outlivesSignals)
{
    if (!has("iverilog")) {
        return;
    }
    const std::string store = GetParam();
    ASSERT_EQ(shell("iverilog -o design $D/counter.v").exitCode(), 0);
    for (const int number : {SIGINT, SIGTERM, SIGKILL}) {
        RunningProgram vvp(
            {"/bin/sh", "-c",
             "exec vvp -n -M " VPI_DIRECTORY
             " -m tracewell design +tracewell=run.wdb +tracewell-sync=0 +tracewell-store=" +
                 store},
            m_files.path(""));
        ASSERT_TRUE(vvp.waitForOutput("flushed"));
        vvp.signal(number);
        vvp.wait();
        if (number == SIGKILL && store == "transitions") {
            continue;
        }
        EXPECT_THAT(info("run.wdb"),
                    HasSubstr(number == SIGKILL ? "closed        no;" : "closed        yes"));
        EXPECT_EQ(std::filesystem::exists(m_files.path("run.wdb.before")), number == SIGKILL);
        const auto recorded = exported("run.wdb", number != SIGKILL);
        const PlainVcd::History& clock = recorded.at("counter.clk");
        // Of the time step of the flush, which is the last one, more could have come.
        ASSERT_GE(clock.size(), number == SIGKILL ? 199u : 200u);
        for (std::size_t i = 0; i < 199; ++i) {
            EXPECT_EQ(clock[i].first, static_cast<long long>(5 * i));
        }
    }
}

TEST_P(VpiPlugIn, leavesTheSimulationAloneWhenItFails)
{
    if (!has("iverilog")) {
        return;
    }
    const std::string store = std::string(" +tracewell-store=") + GetParam();
    for (const auto& [arguments, line] : std::vector<std::pair<std::string, std::string>>{
             {"+tracewell=run.wdb +tracewell-scope=counter.dut", "there is no scope counter.dut"},
             {"+tracewell=/nonexistent/run.wdb", "/nonexistent/run.wdb: cannot be created"},
             {"+tracewell=", "+tracewell= names no file"},
             {"+tracewell=run.wdb +tracewell-scope=counter,,", "+tracewell-scope=counter,, names"},
             {"+tracewell=run.wdb +tracewell-stop=1 +tracewell-start=2", "nothing is recorded"},
             {"+tracewell=run.wdb +tracewell-start=1000000", "nothing is recorded"},
             {"+tracewell-scope=counter", "nothing is recorded"},
             {"+tracewell=/", "/: this is a directory; name a file in it"},
             {"+tracewell=/dev/full", "/dev/full: is no regular file"},
             {"+tracewell-live +tracewell=run.wdb", "+tracewell-live does not count beside"},
             {"+tracewell=run.wdb +tracewell-start=soon",
              "+tracewell-start: \"soon\" is no time; write"},
             {"+tracewell=run.wdb +tracewell-stop=1e30s", "+tracewell-stop: \"1e30s\" lies beyond"},
             {"+tracewell=run.wdb +tracewell-last=1as", "+tracewell-last=1as is less than the"},
             {"+tracewell=run.wdb +tracewell-sync=x", "+tracewell-sync=x is no number of seconds; "
                                                      "write"},
             {"+tracewell-live=x", "+tracewell-live=x is no channel number"},
             {"+tracewell-colour=red", "+tracewell-colour=red is no option; there are"},
             {"+trace=x +tracwell-sync=2", "+tracwell-sync=2 is not for the recording (did you "
                                           "mean +tracewell-sync=2?)"},
             {"+TRACEWEL=v.wdb", "+TRACEWEL=v.wdb is not for the recording (did you mean "
                                 "+tracewell=v.wdb?)"},
             {"+tracewelll=v.wdb", "+tracewelll=v.wdb is no option (did you mean "
                                   "+tracewell=v.wdb?)"},
             {"+tracewell+scop=a", "+tracewell+scop=a is no option (did you mean "
                                   "+tracewell-scope=a?)"}}) {
        const Outcome outcome = icarus("$D/counter.v", "+short " + arguments + store);
        EXPECT_EQ(outcome.exitCode(), 1) << outcome.describe();
        EXPECT_THAT(outcome.out, HasSubstr("failed"));
        EXPECT_EQ(outcome.err.find(line), std::string("tracewell: ").size()) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
    EXPECT_THAT(exported("run.wdb"), Not(IsEmpty()));

    // What was there before is there again, behind all its names.
    for (const std::string older : {"", "older"}) {
        const Outcome full = shell(
            std::string("iverilog -o design $D/counter.v; rm -f full.wdb*; ") +
            (older.empty() ? "" : "echo older > full.wdb; ln full.wdb hard; ") +
            "(ulimit -f 16; exec vvp -n -M $M -m tracewell design +short +tracewell=full.wdb" +
            store + "); cat hard; cat full.wdb; ls | grep -c full.wdb.before");
        EXPECT_THAT(full.out, HasSubstr("failed"));
        EXPECT_THAT(full.out, HasSubstr(older.empty() ? "0\n" : "older\nolder\n0\n"));
        EXPECT_THAT(full.err, HasSubstr("File too large"));
        EXPECT_THAT(info("full.wdb*"), Not(HasSubstr("closed        yes")));
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, VpiPlugIn, ::testing::Values("events", "transitions"),
                         [](const auto& store) { return std::string(store.param); });

class VpiChoices : public VpiPlugIn
{};

TEST_F(VpiChoices, leaveGhdlAloneWhenTheyFail)
{
    if (!has("ghdl")) {
        return;
    }
    ASSERT_EQ(shell("ghdl -a --std=08 $D/counter.vhd && ghdl -e --std=08 counter").exitCode(), 0);
    const std::string run = " exec ghdl -r --std=08 counter --vpi=" VPI_DIRECTORY "/tracewell.vpi";
    for (const auto& [settings, line] : std::vector<std::pair<std::string, std::string>>{
             {"TRACEWELL=run.wdb TRACEWELL_SCOPE=counter.dut", "there is no scope counter.dut"},
             {"TRACEWELL=/nonexistent/run.wdb", "/nonexistent/run.wdb: cannot be created"},
             {"TRACEWELL=run.wdb TRACEWELL_START=1s", "ended before TRACEWELL_START=1s"}}) {
        const Outcome outcome = shell("export " + settings + ";" + run + " -glast=1");
        EXPECT_EQ(outcome.exitCode(), 1) << outcome.describe();
        EXPECT_THAT(outcome.err, HasSubstr(line));
    }
    const Outcome full = shell("export TRACEWELL=full.wdb; ulimit -f 16;" + run + " -glast=1000");
    EXPECT_EQ(full.exitCode(), 1) << full.describe();
    EXPECT_THAT(full.err, HasSubstr("File too large"));
    for (const int number : {SIGINT, SIGTERM}) {
        RunningProgram ghdl({"/bin/sh", "-c", "TRACEWELL=run.wdb" + run}, m_files.path(""));
        ASSERT_TRUE(ghdl.waitForOutput("running"));
        ghdl.signal(number);
        ghdl.wait();
        EXPECT_THAT(info("run.wdb"), HasSubstr("closed        yes"));
        EXPECT_GT(exported("run.wdb").at("counter.clk").size(), 200u);
    }
}

TEST_F(VpiChoices, keepScopesLevelsAndTimes)
{
    if (!has("iverilog")) {
        return;
    }
    struct Choice
    {
        std::string arguments;
        std::size_t variables;
        long long first;
        long long last;
    };
    for (const Choice& choice : std::vector<Choice>{
             {"+tracewell-scope=other_top", 1, 0, 2400},
             {"+tracewell-scope=other_top,every_kind.two.2", 9, 0, 60000004400},
             {"+tracewell-scope=every_kind.deep:1 +tracewell-scope='every_kind.lane[2]'", 6, 0,
              60000004400},
             {"+tracewell-stop=700 +tracewell-scope=other_top", 1, 0, 700},
             {"+tracewell-stop=0 +tracewell-scope=other_top", 1, 0, 0},
             {"+tracewell-start=100ns +tracewell-stop=2500 +tracewell-scope=other_top", 1, 1000,
              2400}}) {
        const Outcome outcome = icarus("-s every_kind -s other_top $D/every_kind.sv",
                                       "+tracewell=run.wdb " + choice.arguments);
        ASSERT_EQ(outcome.exitCode(), 0) << outcome.describe();
        long long first = choice.last;
        long long last = 0;
        const auto recorded = exported("run.wdb");
        for (const auto& [name, history] : recorded) {
            ASSERT_FALSE(history.empty()) << name;
            first = std::min(first, history.front().first);
            last = std::max(last, history.back().first);
        }
        EXPECT_EQ(recorded.size(), choice.variables) << choice.arguments;
        EXPECT_EQ(first, choice.first) << choice.arguments;
        EXPECT_EQ(last, choice.last) << choice.arguments;
    }
}

/// Joined by dots many of them read alike.
TEST_F(VpiChoices, tellStrangeNamesApartAndSpellsThemAsTheDump)
{
    for (const std::string simulate :
         {"command -v iverilog >/dev/null || exit 0; iverilog -g2012 -o design $D/names.v && "
          "vvp -n -M $M -m tracewell design +tracewell=run.wdb",
          "command -v ghdl >/dev/null || exit 0; ghdl -a --std=08 $D/names.vhd && ghdl -e --std=08 "
          "names && ghdl -r --std=08 names --vcd=dump.vcd --vpi=$M/tracewell.vpi "
          "+tracewell=run.wdb"}) {
        const Outcome outcome = shell(simulate);
        ASSERT_EQ(outcome.exitCode(), 0) << outcome.describe();
        EXPECT_EQ(differences(""), "");
    }
}

TEST_F(VpiChoices, ofTasksHoldInOddOrders)
{
    if (!has("iverilog")) {
        return;
    }
    const Outcome outcome = shell(R"(cat >design.v <<'END'
module top;
  reg clk = 0;
  real levels[0:1];
  initial repeat (10) #5 clk = ~clk;
  initial begin
    $tracewell_off; $tracewell_file(""); $tracewell_vars(0, clk, levels);
    #12 $tracewell_on; levels[1] = 0.5;
    #10 $tracewell_off; $tracewell_on; $tracewell_off;
    #10 $tracewell_vars;
    #10 $tracewell_vars(0, top);
  end
endmodule
END
iverilog -g2012 -o design design.v && vvp -n -M $M -m tracewell design)");
    EXPECT_EQ(
        outcome.err,
        "tracewell: design.v:6: $tracewell_file names no file; write "
        "$tracewell_file(\"run.wdb\")\n"
        "tracewell: top.levels[0] (of an array of real numbers or strings) cannot be recorded, nor "
        "others of its kind\n"
        "tracewell: $tracewell_vars comes too late; what was chosen in the first time step is "
        "recorded\n");
    EXPECT_EQ(exported("run.wdb").at("top.clk"),
              (PlainVcd::History{{12, "b0"}, {15, "b1"}, {20, "b0"}, {22, "bx"}}));
}

TEST_F(VpiChoices, aViewerThatComesLateSeesAll)
{
    if (!has("iverilog")) {
        return;
    }
    ASSERT_EQ(shell("iverilog -o design $D/counter.v").exitCode(), 0);
    RunningProgram vvp(
        {"/bin/sh", "-c", "exec vvp -n -M " VPI_DIRECTORY " -m tracewell design +tracewell-live=3"},
        m_files.path(""));
    ASSERT_TRUE(vvp.waitForOutput("flushed"));
    for (const std::string file : {"first.wdb", "second.wdb"}) {
        RunningProgram viewer({VPI_TRACEWELL, "follow", file, "--channel", "3", "counter.clk"},
                              m_files.path(""));
        ASSERT_TRUE(viewer.waitForOutput("following"));
        viewer.signal(SIGINT);
        EXPECT_EQ(viewer.wait().exitCode(), 0);
        const auto recorded = exported(file);
        const PlainVcd::History& clock = recorded.at("counter.clk");
        ASSERT_GT(clock.size(), 100u);
        for (std::size_t i = 2; i < clock.size(); ++i) {
            ASSERT_EQ(clock[i].first - clock[i - 1].first, 5);
        }
    }
    vvp.signal(SIGTERM);
    EXPECT_EQ(vvp.wait().exitCode(), 0);
}

} // namespace

} // namespace Tracewell
