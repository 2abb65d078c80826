// SPDX-License-Identifier: BSD-3-Clause

#include "recorder/Recorder.h"
#include "testing/Seed.h"

#include "changes/ChangeStream.h"
#include "names/DeclarationsBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>

using namespace tracewell;
using ::testing::HasSubstr;

namespace {

constexpr unsigned int kSeed = 20240611;

/// What a recording says from a time on, as a VCD has it, and up to when it goes. An event that has
/// not fired since has no value in a recording that begins there.
std::string tell(const std::string& path, long long from,
                 long long to = std::numeric_limits<long long>::max(), Reach reach = Reach::Whole)
{
    const auto changes = ChangeStream::open(path, reach);
    changes->select({std::nullopt, from});
    std::string text;
    while (changes->next() && changes->time() <= to) {
        std::string step;
        for (const std::uint32_t object : changes->changed()) {
            changes->appendChange(step, object);
        }
        text += step.empty() ? "" : "#" + std::to_string(changes->time()) + "\n" + step;
    }
    for (const std::string& line : changes->shortfalls()) {
        text += line + "\n";
    }
    return text + "up to " + std::to_string(std::min(to, changes->latestTime())) + "\n";
}

struct Case
{
    Store store;
    long long window;
    int steps;
};

class Window : public ::testing::TestWithParam<Case>
{
protected:
    Window() { std::filesystem::create_directory(m_directory); }
    ~Window() override
    {
        m_recorder.reset();
        std::filesystem::remove_all(m_directory);
    }

    std::string path(const std::string& name) const { return m_directory + "/" + name; }

    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory)) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void make(const std::string& name, Store store, long long window, double syncSeconds = 1)
    {
        RecorderOptions options;
        options.output = path(name);
        options.store = store;
        options.window = window;
        options.leastPart = 0;
        options.syncSeconds = syncSeconds;
        DeclarationsBuilder builder("test", {10, -12, true});
        builder.openScope("module", "top");
        for (const char* const bit : {"a", "b", "c", "d"}) {
            builder.addVariable("wire", bit, "", 1, kScalar);
        }
        builder.addVariable("reg", "bus", "[69:0]", 70, kVector);
        builder.addVariable("reg", "nine", "[39:0]", 40, kVector);
        builder.addVariable("real", "level", "", 1, kReal);
        builder.addVariable("event", "go", "", 1, kEvent);
        builder.addVariable("integer", "count", "[39:0]", 40, kVector);
        if (store == Store::Events) {
            builder.addVariable("string", "state", "", 0, kString);
            builder.addVariable("string", "seldom", "", 0, kString);
        }
        m_hasTexts = store == Store::Events;
        m_lines.clear();
        m_recorder.emplace(builder.finish(), options,
                           [this](const std::string& line) { m_lines.push_back(line); });
        m_random.seed(Tracewell::seeded(kSeed));
        m_time = 0;
        m_count = 0;
        ASSERT_TRUE(m_recorder->open());
    }

    unsigned long long any(unsigned long long end) { return m_random() % end; }

    /// The same steps each time.
    void run(int steps)
    {
        for (int i = 0; i < steps; ++i) {
            m_time += any(200) == 0 ? 1LL << 33 : static_cast<long long>(1 + any(5));
            m_recorder->setTime(m_time);
            if (any(150) == 0) {
                m_isOff = !m_isOff;
                m_isOff ? m_recorder->off() : m_recorder->on();
            }
            for (auto changes = any(4); changes > 0; --changes) {
                change();
            }
        }
        if (m_isOff) {
            m_isOff = false;
            m_recorder->on();
        }
    }

    void change()
    {
        ValueRecorder& values = m_recorder->values();
        const auto object = static_cast<std::uint32_t>(any(m_hasTexts ? 11 : 9));
        std::string letters;
        switch (object) {
        case 4:
            for (int i = 0; i < 70; ++i) {
                letters += "01zx"[any(4)];
            }
            values.store(object, ChangeForm::Letters, any(2) ? letters : letters.substr(0, 3));
            break;
        case 5:
            values.store(object, ChangeForm::Letters, any(3) != 0 ? "uwh10-" : "1z");
            break;
        case 6:
            values.storeReal(object, 0.1 * static_cast<double>(any(50)));
            break;
        case 7:
            for (auto times = 1 + any(3); times > 0 && !m_isOff; --times) {
                values.fire(object, 1);
            }
            break;
        case 8:
            m_count += 1 + any(1 << 20);
            values.changeBits(object, m_count);
            break;
        case 9:
            values.store(object, ChangeForm::Text,
                         std::string(any(30), static_cast<char>('a' + any(26))));
            break;
        case 10:
            values.store(object, ChangeForm::Text, any(20) == 0 ? "on" : "off");
            break;
        default:
            values.storeScalar(object, static_cast<std::uint8_t>(any(9)));
            break;
        }
    }

    const std::string m_directory = ::testing::TempDir() + "window_" + std::to_string(::getpid());
    std::optional<Recorder> m_recorder;
    std::vector<std::string> m_lines;
    std::mt19937 m_random;
    long long m_time = 0;
    bool m_isOff = false;
    bool m_hasTexts = false;
    unsigned long long m_count = 0;
};

TEST_P(Window, holdsWhatAFullRecordingHoldsOfThatTime)
{
    const Case& c = GetParam();
    make("full.wdb", c.store, 0);
    run(c.steps);
    m_recorder->close();
    const long long end = m_time;
    make("last.wdb", c.store, c.window);
    run(c.steps);
    // The second half of what happens comes too late for the trigger.
    m_recorder->trigger();
    EXPECT_FALSE(m_recorder->isOpen());
    run(5);
    m_recorder->close();
    EXPECT_EQ(m_lines, std::vector<std::string>());
    EXPECT_EQ(files(), (std::vector<std::string>{"full.wdb", "last.wdb"}));
    const long long from = std::max(0LL, end - c.window);
    EXPECT_EQ(tell(path("last.wdb"), 0), tell(path("full.wdb"), from));
}

TEST_P(Window, segmentsStandForThemselves)
{
    const Case& c = GetParam();
    make("full.wdb", Store::Events, 0);
    run(c.steps);
    m_recorder->close();
    make("last.wdb", Store::Events, c.window);
    run(c.steps);
    m_recorder->flush();
    for (const std::string& name : files()) {
        if (name == "full.wdb") {
            continue;
        }
        const auto changes = ChangeStream::open(path(name), Reach::Beyond);
        ASSERT_TRUE(changes->next());
        const long long from = changes->time() + 1;
        const long long to = changes->latestTime();
        EXPECT_EQ(tell(path(name), from, to, Reach::Beyond), tell(path("full.wdb"), from, to))
            << name;
    }
    EXPECT_LE(files().size(), 3u);
}

constexpr auto kEvents = Store::Events;
constexpr auto kTransitions = Store::Transitions;
INSTANTIATE_TEST_SUITE_P(All, Window,
                         ::testing::Values(Case{kEvents, 1, 3000}, Case{kEvents, 700, 4000},
                                           Case{kEvents, 700, 4321}, Case{kEvents, 1LL << 34, 4000},
                                           Case{kEvents, 1LL << 60, 500},
                                           Case{kTransitions, 1, 3000},
                                           Case{kTransitions, 700, 4000},
                                           Case{kTransitions, 1LL << 60, 500}),
                         // Names that do not change from run to run.
                         [](const auto& each) { return "case" + std::to_string(each.index); });

TEST_F(Window, failureIsOneLineAndLeavesTheSegments)
{
    make("last.wdb", kEvents, 500);
    run(2000);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{2048, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    m_recorder->close();
    ::setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_EQ(m_lines.size(), 1u);
    EXPECT_THAT(m_lines[0], HasSubstr("what there is of the last time is in "));
    EXPECT_EQ(files(), (std::vector<std::string>{"last.wdb.1", "last.wdb.2"}));
    // The next run takes them away.
    make("last.wdb", kEvents, 1LL << 60);
    m_recorder->close();
    EXPECT_EQ(files(), std::vector<std::string>{"last.wdb"});
}

TEST_F(Window, storageThatFailsAtTheBeginningIsOneLine)
{
    const auto limit = [](rlim_t bytes) {
        rlimit present{};
        ::getrlimit(RLIMIT_FSIZE, &present);
        present.rlim_cur = bytes == 0 ? present.rlim_max : bytes;
        ::setrlimit(RLIMIT_FSIZE, &present);
    };
    std::signal(SIGXFSZ, SIG_IGN);
    for (const rlim_t room : {40u, 300u, 700u, 2000u}) {
        make("full.wdb", kEvents, 0);
        m_recorder->close();
        limit(room);
        EXPECT_FALSE(m_recorder->open());
        limit(0);
        ASSERT_EQ(m_lines.size(), 1u) << room << " " << ::testing::PrintToString(m_lines);
        EXPECT_THAT(m_lines[0], HasSubstr("full.wdb"));
    }
}

TEST_F(Window, scopesThatNobodyCouldReadAreOneLine)
{
    for (const int depth : {512, 513}) {
        DeclarationsBuilder builder("test", {});
        for (int i = 0; i < depth; ++i) {
            builder.openScope("module", "s");
        }
        builder.addVariable("wire", "v", "", 1, kScalar);
        std::string told;
        RecorderOptions options;
        options.output = path("deep.wdb");
        Recorder recorder(builder.finish(), options,
                          [&](const std::string& line) { told += line; });
        EXPECT_EQ(recorder.open(), depth == 512);
        EXPECT_EQ(told.find("512 deep") != std::string::npos, depth != 512) << told;
    }
}

TEST_F(Window, fewStepsAreSyncedToo)
{
    make("slow.wdb", kEvents, 0, 1e-9);
    for (m_time = 1; m_time < 8; ++m_time) {
        m_recorder->setTime(m_time);
        m_recorder->values().changeBits(8, static_cast<std::uint64_t>(m_time));
    }
    EXPECT_GE(ChangeStream::open(path("slow.wdb"))->latestTime(), 6);
}

TEST_F(Window, aStoreWithoutTextsSaysOnceWhatItLeavesOut)
{
    make("last.wdb", kEvents, 500);
    m_recorder.reset();
    DeclarationsBuilder builder("test", {1, -9, true});
    builder.openScope("module", "top");
    builder.addVariable("string", "state", "", 0, kString);
    RecorderOptions options;
    options.output = path("last.wdb");
    options.store = kTransitions;
    options.window = 10;
    m_recorder.emplace(builder.finish(), options,
                       [this](const std::string& line) { m_lines.push_back(line); });
    ASSERT_TRUE(m_recorder->open());
    for (int i = 0; i < 200; ++i) {
        m_recorder->setTime(i);
        m_recorder->values().store(0, ChangeForm::Text, std::to_string(i));
    }
    m_recorder->close();
    ASSERT_EQ(m_lines.size(), 1u);
    EXPECT_THAT(m_lines[0], HasSubstr("top.state"));
}

#ifdef PLUGIN_DIRECTORY
TEST_F(Window, icarusKeepsTheLastOfARun)
{
    if (std::system("command -v iverilog >/dev/null") != 0) {
        GTEST_SKIP() << "iverilog is not installed";
    }
    std::ofstream(path("design.v")) << R"(`timescale 1ns/10ps
module top;
  reg clk = 0; reg [39:0] n = 0; real r = 0; event e; integer i;
  always #2.5 clk = ~clk;
  always @(posedge clk) begin n <= n * 7 + 3; r = r + 0.25; if (n[0]) -> e; end
  initial begin #20000; if ($test$plusargs("trigger")) $tracewell_trigger; #300 $finish; end
endmodule
)";
    const auto simulate = [this](const std::string& arguments) {
        const std::string command = "cd " + m_directory +
                                    " && iverilog -o design design.v && vvp -n -M " PLUGIN_DIRECTORY
                                    " -m tracewell design " +
                                    arguments + " >log 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0);
    };
    simulate("+tracewell=full.wdb");
    simulate("+tracewell=last.wdb +tracewell-last=1us");
    simulate("+tracewell=trigger.wdb +tracewell-last=1us +trigger");
    EXPECT_EQ(tell(path("last.wdb"), 0), tell(path("full.wdb"), 1930000));
    EXPECT_EQ(tell(path("trigger.wdb"), 0), tell(path("full.wdb"), 1900000, 2000000));
}
#endif

} // namespace
