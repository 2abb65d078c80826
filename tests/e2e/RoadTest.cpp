// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"

#include "testing/TestFiles.h"

#include <future>
#include <sstream>

namespace Tracewell {

namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

// A kernel in one process, a viewer and the command line in others.
TEST(Road, whatTheToyKernelRecordsTheViewerAndTheCommandLineSee)
{
    const TestDirectory directory;
    const auto run = [&](std::vector<std::string> command) {
        const Outcome outcome = runProgram(command, directory.path(""));
        EXPECT_EQ(outcome.exitCode(), 0) << outcome.describe();
        return outcome.out;
    };
    run({E2E_KERNEL, "run.wdb", "1000"});

    // The clock at address 8, the counter's lowest byte at address 0; one line each 5 ns.
    const auto seen = linesOf(run({E2E_VIEWER, "run.wdb", "8", "0"}));
    ASSERT_EQ(seen.size(), 200u);
    EXPECT_EQ(seen[0], "0 01 00");
    EXPECT_EQ(seen[1], "5 00 00");
    EXPECT_EQ(seen[2], "10 01 01");
    EXPECT_EQ(seen[199], "995 00 63");

    const std::string info = run({E2E_TRACEWELL, "info", "run.wdb"});
    for (const char* const part : {"Zelnix WAVE DATABASE 01", "toy kernel", "995"}) {
        EXPECT_NE(info.find(part), std::string::npos) << part << "\n" << info;
    }
    const std::string signals = run({E2E_TRACEWELL, "signals", "run.wdb"});
    for (const char* const name : {"toy.count[31:0]", "toy.clk"}) {
        EXPECT_NE(signals.find(name), std::string::npos) << name << "\n" << signals;
    }
}

TEST(Road, theToyViewerFollowsTheToyKernelAndLeavesAClosedFile)
{
    const TestDirectory directory;
    auto viewer = std::async(std::launch::async, [&] {
        return runProgram({E2E_LIVE_VIEWER, "live.wdb"}, directory.path(""));
    });
    const Outcome kernel = runProgram({E2E_LIVE_KERNEL, "100000"}, directory.path(""));
    const Outcome seen = viewer.get();
    EXPECT_EQ(kernel.exitCode(), 0) << kernel.describe();
    EXPECT_EQ(seen.exitCode(), 0) << seen.describe();
    EXPECT_EQ(linesOf(seen.out).back(), "99995 32");
    const Outcome history = runProgram({E2E_VIEWER, "live.wdb", "0"}, directory.path(""));
    EXPECT_EQ(linesOf(history.out).size(), 20000u);
}

TEST(Road, aMissingFileIsOneLineAndExitCodeOne)
{
    const TestDirectory directory;
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{E2E_TRACEWELL, "info", "no.wdb"},
          std::vector<std::string>{E2E_VIEWER, "no.wdb", "0"},
          std::vector<std::string>{E2E_KERNEL, "no/such/place.wdb"}}) {
        const Outcome outcome = runProgram(command, directory.path(""));
        EXPECT_EQ(outcome.exitCode(), 1) << outcome.describe();
        EXPECT_EQ(linesOf(outcome.err).size(), 1u) << outcome.describe();
    }
}

} // namespace Tracewell
