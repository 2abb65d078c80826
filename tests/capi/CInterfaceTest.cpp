// SPDX-License-Identifier: BSD-3-Clause

#include "tracewell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bitset>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

/// Variables of all kinds in a recording that is about to begin.
class CInterface : public ::testing::Test
{
protected:
    CInterface() : m_directory(::testing::TempDir() + "/tracewell-XXXXXX")
    {
        EXPECT_NE(::mkdtemp(m_directory.data()), nullptr);
    }
    ~CInterface() override { std::filesystem::remove_all(m_directory); }

    std::string path(const std::string& name = "run.wdb") const { return m_directory + "/" + name; }

    tracewell_recording* create(const char* store = "columns")
    {
        tracewell_recording* const made = tracewell_recording_create(path().c_str(), "10 ps");
        EXPECT_NE(made, nullptr) << tracewell_error();
        EXPECT_EQ(tracewell_recording_set_store(made, store), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_open_scope(made, nullptr, "top"), TRACEWELL_OK);
        bit = add(made, "bit", "wire", 1);
        bus = add(made, "bus", "reg", 8);
        wide = add(made, "wide", "wire", 100);
        real = add(made, "volt", "real", 64);
        event = add(made, "tick", "event", 1);
        text = std::string(store) == "transitions" ? 0 : add(made, "note", "string", 1);
        return made;
    }

    static tracewell_variable add(tracewell_recording* made, const char* name, const char* kind,
                                  std::uint32_t width)
    {
        tracewell_declaration declaration = tracewell_declaration_default(name);
        declaration.kind = kind;
        declaration.width = width;
        tracewell_variable variable = 0;
        EXPECT_EQ(tracewell_recording_add(made, &declaration, &variable), TRACEWELL_OK)
            << tracewell_error();
        return variable;
    }

    tracewell_run* open()
    {
        tracewell_run* const run = tracewell_run_open(path().c_str(), 0);
        EXPECT_NE(run, nullptr) << tracewell_error();
        return run;
    }

    static tracewell_signal find(tracewell_run* run, const char* name)
    {
        tracewell_signal signal = 0;
        EXPECT_EQ(tracewell_run_find(run, name, &signal), TRACEWELL_OK) << tracewell_error();
        return signal;
    }

    tracewell_variable bit = 0;
    tracewell_variable bus = 0;
    tracewell_variable wide = 0;
    tracewell_variable real = 0;
    tracewell_variable event = 0;
    tracewell_variable text = 0;

private:
    std::string m_directory;
};

TEST_F(CInterface, whatIsRecordedIsRead)
{
    for (const char* store : {"columns", "events", "transitions"}) {
        SCOPED_TRACE(store);
        tracewell_recording* const made = create(store);
        const bool hasTexts = std::string(store) != "transitions";
        EXPECT_EQ(tracewell_recording_time(made, 5), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_bits(made, bit, 0, 1), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_number(made, bus, 0x1ff), TRACEWELL_OK);
        const std::uint64_t a[] = {~0ull, 1};
        const std::uint64_t b[] = {2, 0};
        EXPECT_EQ(tracewell_recording_words(made, wide, a, b), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_real(made, real, 0.25), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_fire(made, event), TRACEWELL_OK);
        if (hasTexts) {
            EXPECT_EQ(tracewell_recording_text(made, text, "idle and more", 4), TRACEWELL_OK);
        }
        EXPECT_EQ(tracewell_recording_time(made, 9), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_letters(made, bus, "1x"), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_number(made, bit, 1), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_fire(made, event), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_fire(made, event), TRACEWELL_OK);
        EXPECT_EQ(tracewell_recording_time(made, 20), TRACEWELL_OK);
        ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();

        tracewell_run* const run = open();
        std::uint64_t factor = 0;
        int exponent = 0;
        EXPECT_EQ(tracewell_run_timescale(run, &factor, &exponent), TRACEWELL_OK);
        EXPECT_EQ(factor, 10u);
        EXPECT_EQ(exponent, -12);
        EXPECT_EQ(tracewell_run_end(run), 20);
        EXPECT_EQ(tracewell_run_signals(run), hasTexts ? 6u : 5u);
        EXPECT_EQ(tracewell_run_lacking(run), nullptr);

        tracewell_history* history = tracewell_history_read(run, find(run, "top.bus"), 0, 100);
        ASSERT_EQ(tracewell_history_size(history), 2u);
        EXPECT_EQ(tracewell_history_times(history)[1], 9);
        EXPECT_EQ(tracewell_history_words(history)[0], 0xffu);
        EXPECT_EQ(tracewell_history_words(history)[1], 3u);
        EXPECT_EQ(tracewell_history_unknown(history)[1], 1u);
        EXPECT_EQ(tracewell_history_text(history, 1), nullptr);
        tracewell_history_free(history);
        history = tracewell_history_read(run, find(run, "top.wide"), 6, 100);
        ASSERT_EQ(tracewell_history_size(history), 1u);
        EXPECT_EQ(tracewell_history_words_each(history), 2u);
        EXPECT_EQ(tracewell_history_times(history)[0], 6);
        EXPECT_EQ(tracewell_history_words(history)[0], ~0ull);
        EXPECT_EQ(tracewell_history_words(history)[1], 1u);
        EXPECT_EQ(tracewell_history_unknown(history)[0], 2u);

        std::vector<std::tuple<long long, unsigned long long>> firings;
        const auto visit = [](void* user, const tracewell_entry* entry) {
            static_cast<decltype(firings)*>(user)->emplace_back(entry->time, entry->words[0]);
            return 0;
        };
        EXPECT_EQ(tracewell_history_visit(run, find(run, "top.tick"), 0, 100, visit, &firings),
                  TRACEWELL_OK);
        EXPECT_THAT(firings, ElementsAre(std::tuple(5, 1), std::tuple(9, 2)));

        char value[4];
        std::size_t length = 0;
        EXPECT_EQ(tracewell_value_at(run, find(run, "top.volt"), 7, value, sizeof value, &length),
                  TRACEWELL_OK);
        EXPECT_STREQ(value, "0.2");
        EXPECT_EQ(length, 4u);
        EXPECT_EQ(tracewell_value_at(run, find(run, "top.volt"), 4, value, sizeof value, nullptr),
                  TRACEWELL_NONE);
        std::int64_t found = 0;
        EXPECT_EQ(tracewell_change_behind(run, find(run, "top.bit"), 5, &found), TRACEWELL_OK);
        EXPECT_EQ(found, 9);
        EXPECT_EQ(tracewell_change_before(run, find(run, "top.bit"), 5, &found), TRACEWELL_NONE);
        std::vector<int> looks;
        const auto draw = [](void* user, const tracewell_stretch* stretch) {
            static_cast<std::vector<int>*>(user)->push_back(stretch->look);
            return 0;
        };
        EXPECT_EQ(tracewell_draw(run, find(run, "top.bit"), 0, 20, 200, draw, &looks),
                  TRACEWELL_OK);
        EXPECT_THAT(
            looks, ElementsAre(TRACEWELL_LOOK_BLANK, TRACEWELL_LOOK_FLOATING, TRACEWELL_LOOK_HIGH));
        std::vector<long long> matches;
        const auto match = [](void* user, std::int64_t begin, std::int64_t end) {
            static_cast<std::vector<long long>*>(user)->push_back(begin);
            static_cast<std::vector<long long>*>(user)->push_back(end);
            return 0;
        };
        EXPECT_EQ(tracewell_search(run, "bus == 8'hff", nullptr, match, &matches), TRACEWELL_OK);
        EXPECT_THAT(matches, ElementsAre(5, 9));
        if (hasTexts) {
            tracewell_history* const texts =
                tracewell_history_read(run, find(run, "top.note"), 0, 100);
            EXPECT_STREQ(tracewell_history_text(texts, 0), "idle");
            EXPECT_EQ(tracewell_history_text(texts, 1), nullptr);
            tracewell_history_free(texts);
        }
        EXPECT_EQ(tracewell_run_close(run), TRACEWELL_OK);
        // A history outlives its run.
        EXPECT_EQ(tracewell_history_words(history)[1], 1u);
        tracewell_history_free(history);
    }
}

TEST_F(CInterface, declarationsKeepWhatTheySay)
{
    tracewell_recording* const made = create();
    const char* const letters[] = {"00", "1"};
    const char* const names[] = {"IDLE", "RUN"};
    tracewell_declaration state = tracewell_declaration_default("state");
    state.width = 2;
    state.has_range = 1;
    state.left = 4;
    state.right = 5;
    state.direction = TRACEWELL_OUT;
    state.type = "state_t";
    state.value_letters = letters;
    state.value_names = names;
    state.value_count = 2;
    tracewell_variable variable = 0;
    EXPECT_EQ(tracewell_recording_open_scope(made, "a b", "dut"), TRACEWELL_USAGE);
    tracewell_recording_open_scope(made, "function", "dut");
    ASSERT_EQ(tracewell_recording_add(made, &state, &variable), TRACEWELL_OK) << tracewell_error();
    tracewell_recording_close_scope(made);
    state.name = "seen";
    EXPECT_EQ(tracewell_recording_add_alias(made, &state, variable), TRACEWELL_OK);
    tracewell_recording_number(made, variable, 1);
    ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();

    tracewell_run* const run = open();
    const tracewell_signal signal = find(run, "top.dut.state");
    tracewell_signal_info info{};
    info.size = sizeof info;
    EXPECT_EQ(tracewell_run_signal(run, signal, &info), TRACEWELL_OK);
    EXPECT_STREQ(info.name, "top.dut.state[4:5]");
    EXPECT_STREQ(info.local, "state[4:5]");
    EXPECT_STREQ(info.type, "state_t");
    EXPECT_EQ(info.direction, TRACEWELL_OUT);
    EXPECT_EQ(info.values, TRACEWELL_BITS);
    EXPECT_THAT((std::array{info.left, info.right, std::int64_t{info.has_range}}),
                ElementsAre(4, 5, 1));
    tracewell_scope_info scope{};
    scope.size = sizeof scope;
    EXPECT_EQ(tracewell_run_scopes(run), 2u);
    ASSERT_EQ(tracewell_run_scope(run, info.scope, &scope), TRACEWELL_OK);
    EXPECT_STREQ(scope.name, "dut");
    EXPECT_STREQ(scope.kind, "function");
    ASSERT_EQ(tracewell_run_scope(run, scope.parent, &scope), TRACEWELL_OK);
    EXPECT_STREQ(scope.name, "top");
    EXPECT_STREQ(scope.kind, "module");
    EXPECT_EQ(scope.parent, TRACEWELL_NO_SCOPE);
    const char* valueLetters = nullptr;
    const char* name = nullptr;
    ASSERT_EQ(info.value_names, 2u);
    EXPECT_EQ(tracewell_run_value_name(run, signal, 1, &valueLetters, &name), TRACEWELL_OK);
    EXPECT_STREQ(valueLetters, "01");
    EXPECT_STREQ(name, "RUN");
    EXPECT_EQ(tracewell_run_value_name(run, signal, 2, &valueLetters, &name), TRACEWELL_USAGE);
    char value[16];
    EXPECT_EQ(tracewell_value_at(run, find(run, "top.seen"), 0, value, sizeof value, nullptr),
              TRACEWELL_OK);
    EXPECT_STREQ(value, "RUN");
    // Names for one thing, and bits of it; a caller of an earlier version knows less of a signal.
    const std::uint32_t identity = info.identity;
    info.type = "untouched";
    info.size = offsetof(tracewell_signal_info, type);
    EXPECT_EQ(tracewell_run_signal(run, find(run, "top.seen"), &info), TRACEWELL_OK);
    EXPECT_STREQ(info.type, "untouched");
    info.size = sizeof info;
    EXPECT_EQ(tracewell_run_signal(run, find(run, "top.seen"), &info), TRACEWELL_OK);
    EXPECT_EQ(info.identity, identity);
    const tracewell_signal low = find(run, "top.dut.state[5]");
    EXPECT_EQ(low, tracewell_run_signals(run));
    EXPECT_EQ(find(run, "top.dut.state[5]"), low);
    EXPECT_EQ(tracewell_run_signal(run, low, &info), TRACEWELL_OK);
    EXPECT_EQ(info.width, 1u);
    EXPECT_EQ(tracewell_value_at(run, low, 0, value, sizeof value, nullptr), TRACEWELL_OK);
    EXPECT_STREQ(value, "1");
    tracewell_run_close(run);
}

TEST_F(CInterface, allStatesOfBitsComeBack)
{
    for (const char* store : {"columns", "events", "transitions"}) {
        SCOPED_TRACE(store);
        tracewell_recording* const made = create(store);
        const std::string levels = "01zxuwlh-";
        for (std::size_t i = 0; i < levels.size(); ++i) {
            tracewell_recording_time(made, static_cast<std::int64_t>(i));
            EXPECT_EQ(tracewell_recording_letters(made, bit, levels.substr(i, 1).c_str()),
                      TRACEWELL_OK);
            EXPECT_EQ(
                tracewell_recording_letters(made, bus, ("0000" + levels.substr(i, 1)).c_str()),
                TRACEWELL_OK);
        }
        tracewell_recording_time(made, 20);
        EXPECT_EQ(tracewell_recording_pause(made), TRACEWELL_OK);
        tracewell_recording_number(made, bus, 7);
        tracewell_recording_time(made, 30);
        EXPECT_EQ(tracewell_recording_resume(made), TRACEWELL_OK);
        ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();

        tracewell_run* const run = open();
        for (const char* const name : {"top.bit", "top.bus"}) {
            SCOPED_TRACE(name);
            std::string told;
            const auto visit = [](void* user, const tracewell_entry* entry) {
                const char* const four = "01zx";
                *static_cast<std::string*>(user) +=
                    entry->text != nullptr
                        ? entry->text[entry->length - 1]
                        : four[(entry->words[0] & 1) | (entry->unknown[0] & 1) << 1];
                return 0;
            };
            EXPECT_EQ(tracewell_history_visit(run, find(run, name), 0, 100, visit, &told),
                      TRACEWELL_OK);
            EXPECT_EQ(told, levels + (name == std::string("top.bit") ? "x-" : "x1"));
        }
        tracewell_run_close(run);
    }
}

TEST_F(CInterface, aLongHistoryIsVisitedInPieces)
{
    constexpr std::uint64_t kChanges = 250000;
    const auto valueOf = [](std::uint64_t i) { return std::array{i / 2 * 0x9e3779b97f4a7c15, i}; };
    tracewell_recording* const made = create();
    for (std::uint64_t i = 0; i < kChanges; ++i) {
        tracewell_recording_time(made, static_cast<std::int64_t>(i));
        tracewell_recording_words(made, wide, valueOf(i).data(), nullptr);
        if (i % 3 == 0) {
            tracewell_recording_fire(made, event);
        }
    }
    ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();
    struct Visit
    {
        tracewell_run* run;
        std::uint64_t wanted;
        std::uint64_t seen = 0;
        bool isRight = true;
    };
    Visit visit{open(), kChanges};
    EXPECT_EQ(tracewell_history_visit(
                  visit.run, find(visit.run, "top.wide"), 0, INT64_MAX,
                  [](void* user, const tracewell_entry* entry) {
                      Visit& here = *static_cast<Visit*>(user);
                      const std::uint64_t i = here.seen++;
                      // The run answers meanwhile.
                      here.isRight = here.isRight && tracewell_run_end(here.run) > 0 &&
                                     entry->time == static_cast<std::int64_t>(i) &&
                                     entry->words[0] == i / 2 * 0x9e3779b97f4a7c15 &&
                                     entry->words[1] == i && entry->words_each == 2;
                      return here.seen == here.wanted ? 1 : 0;
                  },
                  &visit),
              TRACEWELL_OK);
    EXPECT_TRUE(visit.isRight);
    EXPECT_EQ(visit.seen, kChanges);
    std::uint64_t firings = 0;
    tracewell_history_visit(
        visit.run, find(visit.run, "top.tick"), 0, INT64_MAX,
        [](void* user, const tracewell_entry* entry) {
            *static_cast<std::uint64_t*>(user) += entry->words[0];
            return 0;
        },
        &firings);
    EXPECT_EQ(firings, (kChanges + 2) / 3);
    tracewell_run_close(visit.run);
}

TEST_F(CInterface, threadsShareARunAndHaveTheirOwn)
{
    constexpr std::int64_t kEnd = 3000;
    tracewell_recording* const made = create();
    for (std::int64_t time = 0; time < kEnd; ++time) {
        tracewell_recording_time(made, time);
        tracewell_recording_number(made, bus, static_cast<std::uint64_t>(time));
        tracewell_recording_number(made, bit, static_cast<std::uint64_t>(time));
    }
    ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();
    tracewell_run* const shared = open();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            tracewell_run* const own = open();
            for (int turn = 0; turn < 20; ++turn) {
                tracewell_run* const run = turn % 2 == 0 ? shared : own;
                tracewell_history* const history = tracewell_history_read(
                    run, find(run, (turn + i) % 3 == 0 ? "top.bit" : "top.bus"), 0, kEnd);
                EXPECT_EQ(tracewell_history_size(history), static_cast<std::size_t>(kEnd));
                tracewell_history_free(history);
                tracewell_signal none = 0;
                const std::string name = "top.none" + std::to_string(i);
                EXPECT_EQ(tracewell_run_find(run, name.c_str(), &none), TRACEWELL_NAME);
                EXPECT_THAT(tracewell_error(), HasSubstr(name));
            }
            tracewell_run_close(own);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    tracewell_run_close(shared);
}

TEST_F(CInterface, aSimulationThatRunsIsFollowed)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[0], STDIN_FILENO);
        ::close(ends[1]);
        if (::chdir(path("").c_str()) == 0) {
            ::execl(LIVE_SIMULATOR, LIVE_SIMULATOR, "7", nullptr);
        }
        ::_exit(127);
    }
    ::close(ends[0]);
    tracewell_run* const run =
        tracewell_run_follow(7, "live", path("").c_str(), path("seen.wdb").c_str(), 60);
    ASSERT_NE(run, nullptr) << tracewell_error();
    EXPECT_EQ(tracewell_run_follow(8, "live", path("").c_str(), nullptr, 0), nullptr);
    EXPECT_THAT(tracewell_error(), HasSubstr("already"));
    const tracewell_signal count = find(run, "sim.count");
    while (tracewell_run_poll(run) == TRACEWELL_OK && tracewell_run_end(run) < 1000) {
        std::this_thread::yield();
    }
    tracewell_history* const meanwhile = tracewell_history_read(run, count, 0, INT64_MAX);
    EXPECT_GT(tracewell_history_size(meanwhile), 1u) << tracewell_error();
    tracewell_history_free(meanwhile);
    // It ends.
    ::close(ends[1]);
    while (tracewell_run_poll(run) == TRACEWELL_OK) {
        std::this_thread::yield();
    }
    EXPECT_EQ(tracewell_run_poll(run), TRACEWELL_NONE);
    char value[16];
    const std::int64_t end = tracewell_run_end(run);
    EXPECT_EQ(tracewell_value_at(run, count, end, value, sizeof value, nullptr), TRACEWELL_OK);
    EXPECT_STREQ(value, "cafe");
    EXPECT_EQ(tracewell_run_close(run), TRACEWELL_OK) << tracewell_error();
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);

    tracewell_run* const file = tracewell_run_open(path("seen.wdb").c_str(), 0);
    ASSERT_NE(file, nullptr) << tracewell_error();
    EXPECT_EQ(tracewell_value_at(file, find(file, "sim.count"), end, value, sizeof value, nullptr),
              TRACEWELL_OK);
    EXPECT_STREQ(value, "cafe");
    tracewell_run_close(file);
}

TEST_F(CInterface, whatCannotBeUnpackedIsToldAndSignalsAreLeftAlone)
{
    std::ofstream vcd(path("run.vcd"));
    vcd << "$timescale 1 ns $end\n$scope module top $end\n$var wire 64 ! v $end\n$upscope $end\n"
           "$enddefinitions $end\n";
    for (std::uint64_t i = 1; i < 20000; ++i) {
        vcd << "#" << i << "\nb" << std::bitset<64>(i * 0x9e3779b97f4a7c15) << " !\n";
    }
    vcd.close();
    const auto onInterrupt = [](int) {};
    std::signal(SIGINT, onInterrupt);
    tracewell_run* run = tracewell_run_open(path("run.vcd").c_str(), 0);
    ASSERT_NE(run, nullptr) << tracewell_error();
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), static_cast<void (*)(int)>(onInterrupt));
    EXPECT_EQ(tracewell_run_close(run), TRACEWELL_OK);

    // A recording that has come and gone takes nothing along.
    ASSERT_EQ(tracewell_recording_close(create()), TRACEWELL_OK);
    tracewell_run* const before = open();
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit few{20000, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &few);
    run = tracewell_run_open(path("run.vcd").c_str(), 0);
    const std::string error = tracewell_error();
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(run, nullptr);
    EXPECT_THAT(error, HasSubstr("run.vcd"));
    EXPECT_EQ(tracewell_run_end(before), -1);
    EXPECT_THAT(tracewell_error(), HasSubstr("open the run again"));
    tracewell_run_close(before);
}

TEST_F(CInterface, headerLibraryAndBuildHaveOneVersion)
{
    EXPECT_STREQ(tracewell_version(), PROJECT_VERSION);
    EXPECT_EQ(std::to_string(TRACEWELL_VERSION_MAJOR) + "." +
                  std::to_string(TRACEWELL_VERSION_MINOR) + "." +
                  std::to_string(TRACEWELL_VERSION_PATCH),
              tracewell_version());
    EXPECT_EQ(tracewell_version_number(), TRACEWELL_VERSION_NUMBER);
}

TEST_F(CInterface, misuseIsToldAndChangesNothing)
{
    tracewell_variable variable = 0;
    tracewell_declaration declaration = tracewell_declaration_default("x");
    EXPECT_EQ(tracewell_recording_time(nullptr, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_number(nullptr, 0, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_add(nullptr, &declaration, &variable), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_close(nullptr), TRACEWELL_OK);
    EXPECT_EQ(tracewell_run_open(nullptr, 0), nullptr);
    EXPECT_EQ(tracewell_run_open("/nowhere/run.wdb", 0), nullptr);
    EXPECT_THAT(tracewell_error(), HasSubstr("/nowhere/run.wdb"));
    EXPECT_EQ(tracewell_run_end(nullptr), -1);
    EXPECT_EQ(tracewell_history_read(nullptr, 0, 0, 1), nullptr);
    EXPECT_EQ(tracewell_history_size(nullptr), 0u);
    tracewell_history_free(nullptr);
    EXPECT_EQ(tracewell_recording_create(path().c_str(), "fast"), nullptr);
    EXPECT_THAT(tracewell_error(), HasSubstr("no timescale"));

    tracewell_recording* const made = create();
    EXPECT_EQ(tracewell_recording_set_sync(made, 2), TRACEWELL_USAGE);
    declaration.size = 3;
    EXPECT_EQ(tracewell_recording_add(made, &declaration, &variable), TRACEWELL_USAGE);
    declaration = tracewell_declaration_default("x");
    declaration.width = 0;
    EXPECT_EQ(tracewell_recording_add(made, &declaration, &variable), TRACEWELL_USAGE);
    tracewell_recording_time(made, 10);
    EXPECT_EQ(tracewell_recording_time(made, 9), TRACEWELL_USAGE);
    EXPECT_THAT(tracewell_error(), HasSubstr("never back"));
    EXPECT_EQ(tracewell_recording_number(made, 99, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_number(made, wide, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_number(made, real, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_real(made, bus, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_fire(made, bit), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_letters(made, bit, "01"), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_letters(made, bit, "?"), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_text(made, text, nullptr, 1), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_text(made, text, "a\0b", 3), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_recording_words(made, wide, nullptr, nullptr), TRACEWELL_USAGE);
    EXPECT_NE(tracewell_recording_add(made, &declaration, &variable), TRACEWELL_OK);
    tracewell_recording* const other = tracewell_recording_create(path("b.wdb").c_str(), "1ns");
    EXPECT_EQ(tracewell_recording_add(other, &declaration, &variable), TRACEWELL_USAGE);
    EXPECT_THAT(tracewell_error(), HasSubstr("already"));
    EXPECT_NE(tracewell_recording_close(other), TRACEWELL_OK);
    EXPECT_EQ(tracewell_recording_close(made), TRACEWELL_OK);

    tracewell_run* const run = open();
    tracewell_signal signal = 0;
    EXPECT_EQ(tracewell_run_find(run, "top.bux", &signal), TRACEWELL_NAME);
    EXPECT_THAT(tracewell_error(), HasSubstr("did you mean top.bus"));
    EXPECT_EQ(tracewell_change_behind(run, 99, 0, nullptr), TRACEWELL_USAGE);
    EXPECT_EQ(tracewell_history_read(run, 99, 0, 10), nullptr);
    EXPECT_EQ(
        tracewell_search(
            run, "1 +", nullptr, [](void*, std::int64_t, std::int64_t) { return 0; }, nullptr),
        TRACEWELL_USAGE);
    tracewell_history* const nothing = tracewell_history_read(run, find(run, "top.bit"), 5, 2);
    EXPECT_EQ(tracewell_history_size(nothing), 0u);
    tracewell_history_free(nothing);
    // An error is each thread's own.
    std::thread([] { EXPECT_STREQ(tracewell_error(), ""); }).join();
    tracewell_run_close(run);
}

TEST_F(CInterface, aRecordingThatCannotBeMadeSaysSoToTheEnd)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    for (const std::string& place : {path("none/run.wdb"), path(""), path("pipe"),
                                     std::string("/dev/full"), path(std::string(300, 'n'))}) {
        SCOPED_TRACE(place);
        // Once by somebody who looks, once by somebody who does not.
        for (const bool looks : {true, false}) {
            tracewell_recording* const made = tracewell_recording_create(place.c_str(), "1ns");
            tracewell_variable variable = add(made, "v", "wire", 8);
            std::string reason;
            for (int i = 0; looks && i < 2; ++i) {
                EXPECT_EQ(tracewell_recording_begin(made), TRACEWELL_FILE);
                reason = tracewell_error();
                EXPECT_THAT(reason, HasSubstr(place));
                const tracewell_declaration late = tracewell_declaration_default("late");
                EXPECT_EQ(tracewell_recording_add(made, &late, &variable), TRACEWELL_FILE);
                EXPECT_EQ(tracewell_recording_number(made, 0, 1), TRACEWELL_FILE);
                EXPECT_EQ(tracewell_recording_sync(made), TRACEWELL_FILE);
                EXPECT_EQ(tracewell_error(), reason);
            }
            tracewell_recording_time(made, 1);
            EXPECT_EQ(tracewell_recording_close(made), TRACEWELL_FILE);
            EXPECT_THAT(tracewell_error(), HasSubstr(looks ? reason : place));
        }
    }
    EXPECT_EQ(tracewell_recording_close(create()), TRACEWELL_OK) << tracewell_error();
}

TEST_F(CInterface, whatNobodyCouldReadIsNotDeclared)
{
    struct Names
    {
        std::vector<const char*> letters;
        std::vector<const char*> names;
    };
    struct Wrong
    {
        const char* name;
        const char* kind;
        std::uint32_t width;
        std::int64_t left;
        std::int64_t right;
        Names values;
        const char* told;
    };
    constexpr std::int64_t kFar = std::int64_t{1} << 40;
    const Wrong wrong[] = {
        {" ", "wire", 1, 0, 0, {}, "has a name"},
        {"v", "wire", 1, INT64_MIN, INT64_MIN, {}, "1099511627776"},
        {"v", "wire", 2, kFar + 1, kFar, {}, "1099511627776"},
        {"v", "wire", 4, 2, 0, {}, "as many bits"},
        {"v", "wire", (1u << 24) + 1, 1 << 24, 0, {}, "16777216 bits"},
        {"v", "wire", 2, 1, 0, {{"0", "2"}, {"A", "B"}}, "\"2\" is no value"},
        {"v", "wire", 2, 1, 0, {{""}, {"A"}}, "\"\" is no value"},
        {"v", "wire", 2, 1, 0, {{"000"}, {"A"}}, "\"000\" is no value"},
        {"v", "wire", 2, 1, 0, {{"01", "1"}, {"A", "B"}}, "two names"},
        {"v", "wire", 2, 1, 0, {{"X", "xx"}, {"A", "B"}}, "two names"},
        {"v", "wire", 2, 1, 0, {{"1"}, {""}}, "empty"},
        {"v", "real", 64, 63, 0, {{"1"}, {"A"}}, "only values of bits"},
        {"v", "string", 1, 0, 0, {{"1"}, {"A"}}, "only values of bits"},
    };
    tracewell_recording* const made = create();
    tracewell_variable variable = 0;
    for (const Wrong& each : wrong) {
        SCOPED_TRACE(each.told);
        tracewell_declaration declaration = tracewell_declaration_default(each.name);
        declaration.kind = each.kind;
        declaration.width = each.width;
        declaration.has_range = 1;
        declaration.left = each.left;
        declaration.right = each.right;
        declaration.value_letters = each.values.letters.data();
        declaration.value_names = each.values.names.data();
        declaration.value_count = each.values.letters.size();
        EXPECT_EQ(tracewell_recording_add(made, &declaration, &variable), TRACEWELL_USAGE);
        EXPECT_THAT(tracewell_error(), HasSubstr(each.told));
    }
    // Another name that would change what the variable has, or what lies behind it.
    struct Other
    {
        const char* kind;
        std::uint32_t width;
        bool fits;
    };
    for (const Other& other : {Other{"wire", 7, false},
                               {"wire", 9, false},
                               {"wire", 4000, false},
                               {"real", 64, false},
                               {"string", 1, false},
                               {"event", 1, false},
                               {"logic", 8, true}}) {
        tracewell_declaration alias = tracewell_declaration_default("alias");
        alias.kind = other.kind;
        alias.width = other.width;
        EXPECT_EQ(tracewell_recording_add_alias(made, &alias, bus),
                  other.fits ? TRACEWELL_OK : TRACEWELL_USAGE)
            << other.kind << other.width;
    }
    EXPECT_EQ(tracewell_recording_open_scope(made, nullptr, "  "), TRACEWELL_USAGE);
    int depth = 1;
    while (depth < 600 && tracewell_recording_open_scope(made, nullptr, "s") == TRACEWELL_OK) {
        ++depth;
    }
    EXPECT_THAT(tracewell_error(), HasSubstr("512"));
    tracewell_declaration deep = tracewell_declaration_default("deep");
    deep.has_range = 1;
    deep.left = deep.right = kFar;
    EXPECT_EQ(tracewell_recording_add(made, &deep, &variable), TRACEWELL_OK) << tracewell_error();
    ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();
    EXPECT_EQ(depth, 512);
    tracewell_run* const run = open();
    tracewell_signal_info info{};
    info.size = sizeof info;
    EXPECT_EQ(tracewell_run_signals(run), 8u);
    EXPECT_EQ(tracewell_run_signal(run, 7, &info), TRACEWELL_OK);
    EXPECT_EQ(info.left, kFar);
    EXPECT_EQ(tracewell_run_scopes(run), 512u);
    tracewell_run_close(run);

    for (const char* const timescale : {"18446744073709551615s", "1000000000001zs", "0ns"}) {
        EXPECT_EQ(tracewell_recording_create(path().c_str(), timescale), nullptr);
    }
    EXPECT_EQ(tracewell_recording_create("", "1ns"), nullptr);
    EXPECT_EQ(tracewell_recording_create_live(0, "", "1ns"), nullptr);
    EXPECT_EQ(tracewell_recording_create_live(-1, "live", "1ns"), nullptr);
}

TEST_F(CInterface, whatIsInTheFileByNowIsToldAsItIs)
{
    for (const char* const store : {"columns", "events", "transitions"}) {
        SCOPED_TRACE(store);
        const bool isKept = store != std::string("transitions");
        std::ofstream(path()) << "before";
        tracewell_recording* const made = create(store);
        for (int time = 1; time <= 3; ++time) {
            tracewell_recording_time(made, time);
            tracewell_recording_number(made, bus, static_cast<std::uint64_t>(time));
        }
        EXPECT_EQ(tracewell_recording_sync(made), isKept ? TRACEWELL_OK : TRACEWELL_USAGE);
        EXPECT_EQ(std::filesystem::exists(path("run.wdb.before")), isKept);
        tracewell_run* const run = tracewell_run_open(path().c_str(), 0);
        EXPECT_EQ(run != nullptr, isKept);
        EXPECT_EQ(tracewell_run_end(run), isKept ? 2 : -1);
        tracewell_run_close(run);
        EXPECT_EQ(tracewell_recording_close(made), TRACEWELL_OK) << tracewell_error();
        EXPECT_FALSE(std::filesystem::exists(path("run.wdb.before")));
    }
}

TEST_F(CInterface, errorsAreLinesForCallers)
{
    EXPECT_EQ(tracewell_run_open(path("a\nb\x1b[31m\xff").c_str(), 0), nullptr);
    EXPECT_THAT(tracewell_error(), HasSubstr("a\uFFFDb\uFFFD[31m\uFFFD: no such file"));
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(tracewell_run_open(path("pipe").c_str(), 0), nullptr);
    EXPECT_EQ(tracewell_run_open("-", 0), nullptr);
    EXPECT_THAT(tracewell_error(), HasSubstr("./-: no such file"));

    tracewell_recording* const made = create();
    tracewell_recording_open_scope(made, nullptr, "dut");
    add(made, "bus", "reg", 8);
    ASSERT_EQ(tracewell_recording_close(made), TRACEWELL_OK);
    tracewell_run* const run = open();
    tracewell_signal signal = 0;
    EXPECT_EQ(tracewell_run_find(run, "*", &signal), TRACEWELL_NAME);
    EXPECT_THAT(tracewell_error(), Not(HasSubstr("find()")));
    EXPECT_EQ(tracewell_run_find(run, "qqqqqqqqqqqqqqqq", &signal), TRACEWELL_NAME);
    EXPECT_THAT(tracewell_error(), HasSubstr("; tracewell_run_signal() tells all"));
    const auto match = [](void*, std::int64_t, std::int64_t) { return 0; };
    EXPECT_EQ(tracewell_search(run, "none == 1", nullptr, match, nullptr), TRACEWELL_NAME);
    EXPECT_EQ(tracewell_search(run, "bus == 1", nullptr, match, nullptr), TRACEWELL_NAME);
    EXPECT_EQ(tracewell_search(run, "bus ==", nullptr, match, nullptr), TRACEWELL_USAGE);
    tracewell_run_close(run);
}

TEST_F(CInterface, handlersRunOnThreadsOfTheCaller)
{
    static std::thread::id s_handler;
    const auto handler = std::signal(SIGUSR1, [](int) { s_handler = std::this_thread::get_id(); });
    tracewell_recording* const made = create();
    ASSERT_EQ(tracewell_recording_begin(made), TRACEWELL_OK);
    // With this thread out of the way there is nobody to take it.
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    ::kill(::getpid(), SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    EXPECT_EQ(s_handler, std::this_thread::get_id());
    EXPECT_EQ(tracewell_recording_close(made), TRACEWELL_OK);
    std::signal(SIGUSR1, handler);
}

TEST_F(CInterface, aFileThatMayNotGrowIsTold)
{
    tracewell_recording* const made = create();
    ASSERT_EQ(tracewell_recording_begin(made), TRACEWELL_OK) << tracewell_error();
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit few{100000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &few);
    for (unsigned int i = 0; i < 300000; ++i) {
        tracewell_recording_time(made, i);
        tracewell_recording_number(made, bus, static_cast<std::uint64_t>(i) * 2654435761u >> 7);
        const std::uint64_t words[] = {i * 0x9e3779b97f4a7c15ull, i * 0xc2b2ae3d27d4eb4full};
        tracewell_recording_words(made, wide, words, nullptr);
    }
    // Not once, but until somebody looks.
    EXPECT_EQ(tracewell_recording_sync(made), TRACEWELL_FILE);
    EXPECT_EQ(tracewell_recording_time(made, 300000), TRACEWELL_FILE);
    const tracewell_status status = tracewell_recording_close(made);
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(status, TRACEWELL_FILE);
    EXPECT_THAT(tracewell_error(), HasSubstr("run"));
}

} // namespace
