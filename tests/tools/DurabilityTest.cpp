// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <functional>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

/// Import and export in processes of their own, which meet full disks, signals and death.
class Durability : public ImportExport
{
protected:
    /// Runs `work` in a child, its standard error stream going to the file "err"; its answer is
    /// the exit status.
    pid_t start(const std::function<int()>& work) const
    {
        const pid_t child = ::fork();
        if (child == 0) {
            const int error = ::open(path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(error, STDERR_FILENO);
            ::_exit(work());
        }
        return child;
    }

    static int statusOf(pid_t child)
    {
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static int command(const std::vector<std::string>& arguments)
    {
        const Result result = Tracewell::runCommand(arguments, Tracewell::ErrorStream::Open);
        std::cerr << result.error << std::flush;
        return result.code;
    }

    static void limitFileSize(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }

    void writeNoise() const
    {
        std::string text;
        for (int i = 0; i < 200; ++i) {
            text += fmt::format("$var reg 64 c{} v{} $end\n", i, i);
        }
        text += "$enddefinitions $end\n";
        unsigned long long noise = 1;
        for (int time = 0; time < 2000; ++time) {
            text += fmt::format("#{}\n", time);
            for (int i = time % 10; i < 200; i += 10) {
                noise = noise * 6364136223846793005ULL + 1442695040888963407ULL;
                text += fmt::format("b{:b} c{}\n", noise, i);
            }
        }
        write("in.vcd", text);
    }

    /// A child that imports what is written to `feed`.
    pid_t startFromPipe(int& feed, const std::vector<std::string>& options) const
    {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        feed = ends[1];
        const pid_t child = start([&] {
            ::close(ends[1]);
            ::dup2(ends[0], STDIN_FILENO);
            std::vector<std::string> arguments = {"import", "-", path("out.wdb")};
            arguments.insert(arguments.end(), options.begin(), options.end());
            return command(arguments);
        });
        ::close(ends[0]);
        return child;
    }

    static void put(int feed, const std::string& text)
    {
        ASSERT_EQ(::write(feed, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
};

const std::string kHead = "$var reg 8 ! a $end\n$var string 1 \" s $end\n$enddefinitions $end\n";

/// The same with each store.
class DurabilityOfStore : public Durability, public ::testing::WithParamInterface<const char*>
{};

INSTANTIATE_TEST_SUITE_P(Stores, DurabilityOfStore,
                         ::testing::Values("events", "indexed", "columns", "transitions"));

TEST_P(DurabilityOfStore, importOnAFullDiskIsAnErrorAndLeavesWhatWasThere)
{
    writeNoise();
    for (const rlim_t room : {500u, 8'000u, 100'000u}) {
        write("out.wdb", "older");
        EXPECT_EQ(
            statusOf(start([&] {
                limitFileSize(room);
                return command({"import", "--store", GetParam(), path("in.vcd"), path("out.wdb")});
            })),
            1);
        const std::string error = read("err");
        EXPECT_EQ(error.find(path("out.wdb") + ": cannot be "), 0U) << error;
        EXPECT_EQ(error.find("FATAL"), std::string::npos) << error;
        EXPECT_EQ(read("out.wdb"), "older");
        std::filesystem::remove(path("out.wdb"));
        EXPECT_EQ(files(), (std::vector<std::string>{"err", "in.vcd"}));
    }
}

TEST_F(Durability, exportThatCannotBeWrittenIsAnErrorAndIsRemoved)
{
    writeNoise();
    ASSERT_EQ(import().code, 0);
    EXPECT_EQ(statusOf(start([&] {
                  limitFileSize(100'000);
                  return command({"export", path("out.wdb"), path("out.vcd")});
              })),
              1);
    EXPECT_NE(read("err").find("cannot be written"), std::string::npos);
    EXPECT_EQ(files(), (std::vector<std::string>{"err", "in.vcd", "out.wdb"}));
    EXPECT_EQ(run({"export", path("out.wdb"), "/dev/full"}).code, 1);
    EXPECT_EQ(statusOf(start([&] {
                  int ends[2];
                  if (::pipe(ends) != 0) {
                      return 99;
                  }
                  ::close(ends[0]);
                  ::dup2(ends[1], STDOUT_FILENO);
                  return command({"export", path("out.wdb"), "-"});
              })),
              -SIGPIPE);
}

TEST_P(DurabilityOfStore, interruptedImportRemovesItsOutput)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        int feed = -1;
        const pid_t child = startFromPipe(feed, {"--store", GetParam()});
        put(feed, kHead + "#0\nb1 !\n");
        const auto isOutput = [](const std::string& name) {
            return name.find(".wdb") < name.size();
        };
        for (bool isThere = false; !isThere; ::usleep(100)) {
            const std::vector<std::string> all = files();
            isThere = std::any_of(all.begin(), all.end(), isOutput);
        }
        ::kill(child, signal);
        EXPECT_EQ(statusOf(child), 1);
        ::close(feed);
        EXPECT_NE(read("err").find("interrupted"), std::string::npos);
        EXPECT_EQ(files(), std::vector<std::string>{"err"});
    }
}

/// Those that can be read before their end.
class SyncedStore : public DurabilityOfStore
{};

INSTANTIATE_TEST_SUITE_P(Stores, SyncedStore, ::testing::Values("events", "indexed", "columns"));

TEST_P(SyncedStore, syncMakesASilentPipesChangesReadableAndSafeFromAKill)
{
    int feed = -1;
    const pid_t child = startFromPipe(feed, {"--sync", "0.01", "--store", GetParam()});
    const std::string changes = "#1\nb101 !\n#2\nb110 !\nshello \"\n";
    // The cut change behind them is not there yet.
    put(feed, kHead + changes + "#3\nb1");
    std::string seen;
    while (seen.find("hello") == std::string::npos) {
        ASSERT_EQ(::waitpid(child, nullptr, WNOHANG), 0);
        if (std::filesystem::exists(path("out.wdb")) &&
            run({"export", path("out.wdb"), path("out.vcd")}).code == 0) {
            seen = read("out.vcd");
        }
    }
    ::kill(child, SIGKILL);
    EXPECT_EQ(statusOf(child), -SIGKILL);
    ::close(feed);
    ASSERT_EQ(run({"export", path("out.wdb"), path("out.vcd")}).code, 0);
    seen = read("out.vcd");
    EXPECT_EQ(seen.substr(seen.find('#')), changes);
    const Result verified = run({"verify", path("out.wdb")});
    EXPECT_EQ(verified.code, 0);
    EXPECT_NE(verified.out.find("never closed"), std::string::npos);
}

TEST_F(Durability, standardInputGivesTheSameRecordingAndRefusesFractionsOfTime)
{
    int feed = -1;
    pid_t child = startFromPipe(feed, {});
    put(feed, kHead + "#1\nb101 !\n");
    ::close(feed);
    EXPECT_EQ(statusOf(child), 0);
    ASSERT_EQ(run({"export", path("out.wdb"), path("out.vcd")}).code, 0);
    EXPECT_NE(read("out.vcd").find("#1\nb101 !\n"), std::string::npos);

    std::filesystem::remove(path("out.wdb"));
    child = startFromPipe(feed, {});
    put(feed, kHead + "#1\nb101 !\n#1.5\nb0 !\n");
    ::close(feed);
    EXPECT_EQ(statusOf(child), 1);
    EXPECT_NE(read("err").find("line 6"), std::string::npos) << read("err");
    EXPECT_EQ(files(), (std::vector<std::string>{"err", "out.vcd"}));
}

} // namespace
