// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"

#include "testing/TestFiles.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <ostream>
#include <tuple>
#include <utility>

namespace Tracewell {

namespace {

/// A scalar, a vector, a real and an event that change at different times; `mode` has its only
/// change at the start. `first` and `end` count steps of 5 ns.
std::string changes(int first, int end)
{
    std::string text;
    for (int step = first; step < end; ++step) {
        text += "#" + std::to_string(5 * step) + "\n" + std::to_string(step % 2) + "!\n";
        if (step % 3 == 0) {
            text += "b" + std::to_string(step / 3 % 2) + "01" + std::to_string(step % 2) + " \"\n";
        }
        if (step % 7 == 0) {
            text += "r" + std::to_string(step) + ".5 #\n";
        }
        if (step % 11 == 0) {
            text += "1&\n";
        }
        if (step == 0) {
            text += "b110 '\n";
        }
    }
    return text;
}

int countOf(const std::string& text, const std::string& part)
{
    int count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

std::string declarations(const std::string& scope)
{
    return "$timescale 1 ns $end\n$scope module " + scope +
           " $end\n$var wire 1 ! clk $end\n$var wire 4 \" data [3:0] $end\n"
           "$var real 64 # temp $end\n$var event 1 & ev $end\n$var wire 3 ' mode [2:0] $end\n"
           "$upscope $end\n$enddefinitions $end\n";
}

class LiveCommands : public ::testing::Test
{
protected:
    using Arguments = std::vector<std::string>;

    explicit LiveCommands(std::string store) : m_store(std::move(store)) {}

    Arguments command(const Arguments& arguments, const Arguments& more = {}) const
    {
        Arguments all = {E2E_TRACEWELL};
        all.insert(all.end(), arguments.begin(), arguments.end());
        all.insert(all.end(), more.begin(), more.end());
        for (const char* const taker : {"import", "replay", "follow"}) {
            if (arguments[0] == taker) {
                // Columns are made of what comes as events.
                const bool isEvents = m_store == "columns" && arguments[0] == "replay";
                all.insert(all.end(), {"--store", isEvents ? "events" : m_store});
            }
        }
        return all;
    }

    std::unique_ptr<RunningProgram> start(const Arguments& arguments, const Arguments& more = {})
    {
        const bool hasInput = arguments.size() > 1 && arguments[1] == "-";
        return std::make_unique<RunningProgram>(command(arguments, more), m_directory.path(""),
                                                hasInput);
    }

    Outcome run(const Arguments& arguments) const
    {
        return runProgram(command(arguments), m_directory.path(""));
    }

    std::string runWell(const Arguments& arguments) const
    {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode(), 0) << outcome.describe();
        return outcome.out;
    }

    static Outcome expectEnd(RunningProgram& program, int code)
    {
        Outcome outcome = program.wait();
        EXPECT_EQ(outcome.exitCode(), code) << outcome.describe();
        return outcome;
    }

    void expectClosedAndSound(const std::string& file) const
    {
        EXPECT_NE(runWell({"verify", file}).find("sound"), std::string::npos);
        const std::string facts = runWell({"info", file});
        EXPECT_NE(facts.find("closed        yes"), std::string::npos);
        EXPECT_LE(facts.find("\nTracewell Mark"), facts.find("\nWDB.Event"));
    }

    /// Nothing of a channel is left where the simulation ran.
    void expectTidy() const { EXPECT_FALSE(std::filesystem::exists(m_directory.path("zsim.dir"))); }

    const std::string m_store;
    TestDirectory m_directory;
};

class LiveCommandsOfStore : public LiveCommands, public ::testing::WithParamInterface<const char*>
{
protected:
    LiveCommandsOfStore() : LiveCommands(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Stores, LiveCommandsOfStore,
                         ::testing::Values("events", "columns", "transitions"));

constexpr int kHalf = 2000;
constexpr const char* kAtHalf = "\"time\": 9995,";
constexpr const char* kAtEnd = "\"time\": 19995,";

} // namespace

TEST_P(LiveCommandsOfStore, replayBesideFollowGivesWhatImportGives)
{
    struct Pair
    {
        std::string design;
        Arguments channel;
        bool kernelFirst;
    };
    const std::vector<Pair> pairs = {{"one", {}, false},
                                     {"one", {"--channel", "1"}, true},
                                     {"two", {"--snapshot", "other"}, true}};
    for (const std::string design : {"one", "two"}) {
        writeFile(m_directory.path(design + ".vcd"), declarations(design) + changes(0, 30000));
        runWell({"import", design + ".vcd", design + ".wdb"});
        runWell({"export", design + ".wdb", design + ".out.vcd"});
    }
    std::vector<std::unique_ptr<RunningProgram>> programs;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const std::string output = std::to_string(i) + ".wdb";
        for (const bool kernel : {pairs[i].kernelFirst, !pairs[i].kernelFirst}) {
            programs.push_back(
                kernel ? start({"replay", pairs[i].design + ".vcd", "--live"}, pairs[i].channel)
                       : start({"follow", output, "*clk", "*ev"}, pairs[i].channel));
        }
    }
    for (const auto& program : programs) {
        expectEnd(*program, 0);
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const std::string output = std::to_string(i) + ".wdb";
        expectClosedAndSound(output);
        runWell({"export", output, "live.out.vcd"});
        EXPECT_EQ(readFile(m_directory.path("live.out.vcd")),
                  readFile(m_directory.path(pairs[i].design + ".out.vcd")))
            << i;
    }
    expectTidy();
}

TEST_P(LiveCommandsOfStore, aPipeShowsWhileTheSimulatorRunsAndOneMoreOnEitherSideIsRefused)
{
    auto replay = start({"replay", "-", "--live"});
    auto follow = start({"follow", "a.wdb", "top.data", "--json"});
    replay->write(declarations("top") + changes(0, kHalf));
    ASSERT_TRUE(follow->waitForOutput(kAtHalf));

    const Outcome second = run({"follow", "b.wdb"});
    EXPECT_EQ(second.exitCode(), 1);
    EXPECT_NE(second.err.find("is followed by a running viewer already"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_directory.path("b.wdb")));
    writeFile(m_directory.path("same.vcd"), declarations("top"));
    writeFile(m_directory.path("other.vcd"), declarations("other"));
    for (const auto& [input, reason] :
         {std::pair("same.vcd", "a running simulation feeds it already"),
          std::pair("other.vcd", "with other names")}) {
        const Outcome refused = run({"replay", input, "--live"});
        EXPECT_EQ(refused.exitCode(), 1);
        EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    }

    replay->write(changes(kHalf, 2 * kHalf));
    replay->closeInput();
    expectEnd(*replay, 0);
    const Outcome followed = expectEnd(*follow, 0);
    EXPECT_NE(followed.out.find(R"("state": "ended", "time": 19995,)"), std::string::npos);
    EXPECT_NE(followed.out.find(R"("top.data[3:0]": "b"})"), std::string::npos) << followed.out;
    expectClosedAndSound("a.wdb");
    expectTidy();
}

TEST_P(LiveCommandsOfStore, whoeverIsAloneOrInterruptedEndsWell)
{
    const Outcome alone = run({"follow", "a.wdb", "--wait", "0"});
    EXPECT_EQ(alone.exitCode(), 1);
    EXPECT_NE(alone.err.find("no simulation offers channel 0"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_directory.path("a.wdb")));
    EXPECT_EQ(run({"replay", "-"}).exitCode(), 2);

    auto replay = start({"replay", "-", "--live"});
    replay->write(declarations("top") + changes(0, kHalf));
    ASSERT_TRUE(replay->waitForError("waiting for the first viewer"));
    auto follow = start({"follow", "a.wdb", "--json"});
    ASSERT_TRUE(follow->waitForOutput(kAtHalf));
    follow->signal(SIGINT);
    EXPECT_NE(expectEnd(*follow, 0).out.find("interrupted"), std::string::npos);
    expectClosedAndSound("a.wdb");
    EXPECT_NE(runWell({"values", "a.wdb", "top.clk"}).find("\n       9995  1"), std::string::npos);
    ASSERT_TRUE(replay->waitForError("the viewer has gone at 9.995 us"));
    replay->signal(SIGINT);
    expectEnd(*replay, 1);
    expectTidy();
}

TEST_P(LiveCommandsOfStore, aDiskThatFillsAsFollowOpensOrClosesIsToldAndLeavesWhatWasThere)
{
    const std::string file = m_directory.path("a.wdb");
    for (const std::string older : {"", "older"}) {
        // In units of 512 bytes: the second is enough for all but what is stored at the end.
        for (const std::string limit : {"1", "16"}) {
            const bool isAtTheStart = limit == "1" && m_store != "transitions";
            std::filesystem::remove(file);
            if (!older.empty()) {
                writeFile(file, older);
            }
            auto replay = start({"replay", "-", "--live"});
            replay->write(declarations("top") + changes(0, kHalf));
            RunningProgram follow({"/bin/sh", "-c", "ulimit -f " + limit + "; exec \"$@\"", "sh",
                                   E2E_TRACEWELL, "follow", "a.wdb", "--store", m_store},
                                  m_directory.path(""));
            if (!isAtTheStart) {
                replay->closeInput();
            }
            const std::string told = expectEnd(follow, 1).err;
            EXPECT_NE(told.find(".wdb: cannot be written: File too large; "), std::string::npos)
                << told;
            EXPECT_NE(told.find("; make room "), std::string::npos) << told;
            if (isAtTheStart) {
                replay->signal(SIGINT);
            }
            replay->wait();
            // The part that there is of events stays, as the file where there was none.
            const bool hasPart = m_store != "transitions" && !isAtTheStart;
            EXPECT_EQ(std::filesystem::exists(file), hasPart || !older.empty());
            EXPECT_EQ(told.find("a.wdb.part-") != std::string::npos, hasPart && !older.empty());
            if (!older.empty()) {
                EXPECT_EQ(readFile(file), older);
            } else if (hasPart) {
                EXPECT_NE(run({"values", "a.wdb", "*"}).err.find("never closed"),
                          std::string::npos);
            }
        }
    }
    expectTidy();
}

TEST_P(LiveCommandsOfStore, aKilledKernelLeavesAClosedFileAndAChannelForTheNext)
{
    auto follow = start({"follow", "a.wdb", "--json", "--on-kernel-exit", "wait"});
    auto replay = start({"replay", "-", "--live"});
    replay->write(declarations("top") + changes(0, kHalf));
    ASSERT_TRUE(follow->waitForOutput(kAtHalf));
    replay->signal(SIGKILL);
    replay->wait();
    ASSERT_TRUE(follow->waitForError("waiting for the next run"));

    auto next = start({"replay", "-", "--live"});
    next->write(declarations("next") + changes(0, 2 * kHalf));
    ASSERT_TRUE(follow->waitForOutput(kAtEnd));
    next->signal(SIGKILL);
    next->wait();
    ASSERT_TRUE(follow->waitForError("waiting for the next run"));
    follow->signal(SIGTERM);
    expectEnd(*follow, 0);
    expectClosedAndSound("a.wdb");
    EXPECT_NE(runWell({"signals", "a.wdb"}).find("next.mode[2:0]"), std::string::npos);

    writeFile(m_directory.path("last.vcd"), declarations("last") + changes(0, kHalf));
    auto last = start({"replay", "last.vcd", "--live", "--speed", "1"});
    auto end = start({"follow", "b.wdb"});
    expectEnd(*last, 0);
    expectEnd(*end, 0);
    expectClosedAndSound("b.wdb");
    expectTidy();
}

struct ViewerExit
{
    const char* policy;
    int exitCode;
};

void PrintTo(const ViewerExit& exit, std::ostream* os)
{
    *os << exit.policy;
}

class KilledViewer : public LiveCommands,
                     public ::testing::WithParamInterface<std::tuple<const char*, ViewerExit>>
{
protected:
    KilledViewer() : LiveCommands(std::get<0>(GetParam())) {}
};

TEST_P(KilledViewer, isNoticedAndTheReplayDoesAsItWasTold)
{
    const ViewerExit& exit = std::get<1>(GetParam());
    const std::string policy = exit.policy;
    auto replay = start({"replay", "-", "--live", "--on-viewer-exit", policy});
    auto first = start({"follow", "a.wdb", "--json"});
    replay->write(declarations("top") + changes(0, kHalf));
    ASSERT_TRUE(first->waitForOutput(kAtHalf));
    first->signal(SIGKILL);
    first->wait();
    ASSERT_TRUE(replay->waitForError("the viewer has gone at 9.995 us"));
    // Readable up to the last block that reached it, or not there before it is finished.
    if (m_store == "events") {
        EXPECT_NE(runWell({"verify", "a.wdb"}).find("sound"), std::string::npos);
    } else {
        EXPECT_NE(run({"values", "a.wdb", "top.clk"}).err.find("no such file"), std::string::npos);
    }
    if (policy == "drop") {
        replay->write(changes(kHalf, kHalf + 10));
    }
    if (policy != "stop") {
        auto second = start({"follow", "b.wdb", "--json"});
        ASSERT_TRUE(replay->waitForError("a viewer is there again"));
        replay->write(changes(kHalf + 10, 2 * kHalf));
        replay->closeInput();
        expectEnd(*second, 0);
        expectClosedAndSound("b.wdb");
        // What never changes any more is known all the same.
        EXPECT_NE(runWell({"values", "b.wdb", "top.mode", "top.clk"}).find("19995  6"),
                  std::string::npos);
        // Steps 2013 to 3993.
        EXPECT_EQ(countOf(runWell({"export", "b.wdb", "-"}), "\n1&"), 181);
    }
    expectEnd(*replay, exit.exitCode);
    expectTidy();
}

INSTANTIATE_TEST_SUITE_P(EachPolicy, KilledViewer,
                         ::testing::Combine(::testing::Values("events", "transitions"),
                                            ::testing::Values(ViewerExit{"wait", 0},
                                                              ViewerExit{"drop", 0},
                                                              ViewerExit{"stop", 1})),
                         [](const auto& each) {
                             return std::get<0>(each.param) + std::string("_") +
                                    std::get<1>(each.param).policy;
                         });

} // namespace Tracewell
