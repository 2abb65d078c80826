// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"
#include "testing/FileMutator.h"
#include "testing/Seed.h"

namespace Tracewell {

namespace {

constexpr long kPeakKib = E2E_SANITIZED ? 1 << 20 : 100 << 10;

unsigned int numberFromEnvironment(const char* name, unsigned int otherwise)
{
    const char* const text = std::getenv(name);
    return text ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : otherwise;
}

/// A simulation with a variable of every kind.
std::string makeVcd()
{
    std::string vcd = "$timescale 10 ns $end\n$scope module top $end\n"
                      "$var reg 8 a bus [7:0] $end\n$var reg 70 b wide [69:0] $end\n"
                      "$var wire 1 c clk $end\n$var real 64 d level $end\n"
                      "$var string 1 e phase $end\n$var event 1 f hit $end\n"
                      "$scope module inner $end\n$var wire 1 c clk $end\n"
                      "$var wire 4 g state [3:0] $end\n$upscope $end\n$upscope $end\n"
                      "$enddefinitions $end\n";
    for (int time = 0; time < 3000; ++time) {
        vcd += "#" + std::to_string(7 * time) + "\n" + (time % 2 != 0 ? "1" : "0") + "c\n";
        if (time % 3 == 0) {
            vcd += std::string("b") + "01xz"[time / 3 % 4] + "10" + "xz01"[time % 4] + "1 a\n";
        }
        if (time % 10 == 0) {
            vcd += "b" + std::string(static_cast<std::size_t>(time / 10 % 70 + 1), '1') + " b\n";
        }
        if (time % 25 == 0) {
            vcd += "r" + std::to_string(time / 8.0) + " d\nb" + std::string("01u") + "1 g\n";
        }
        if (time % 50 == 0) {
            vcd += "sphase" + std::to_string(time) + " e\n1f\n";
        }
    }
    return vcd;
}

class Mutation : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeFile(m_directory.path("run.vcd"), makeVcd());
        const Outcome import = run({"import", "run.vcd", "imported.wdb"});
        ASSERT_EQ(import.exitCode(), 0) << import.describe();
        std::string vcd = makeVcd();
        for (std::size_t at = 0; (at = vcd.find("sphase", at)) != std::string::npos;) {
            vcd.erase(at, vcd.find('\n', at) + 1 - at);
        }
        writeFile(m_directory.path("plain.vcd"), vcd);
        const Outcome transitions =
            run({"import", "--store", "transitions", "plain.vcd", "transitions.wdb"});
        ASSERT_EQ(transitions.exitCode(), 0) << transitions.describe();
        const Outcome kernel =
            runProgram({E2E_KERNEL, "kernel.wdb", "100000"}, m_directory.path(""));
        ASSERT_EQ(kernel.exitCode(), 0) << kernel.describe();
    }

    Outcome run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), E2E_TRACEWELL);
        return runProgram(arguments, m_directory.path(""));
    }

    const TestDirectory m_directory;
};

} // namespace

TEST_F(Mutation, noReadingCommandCrashesHangsOrGrowsOnADamagedFile)
{
    const std::vector<std::vector<std::string>> commands = {
        {"info", "bad.wdb"},
        {"info", "bad.wdb", "--json"},
        {"signals", "bad.wdb"},
        {"values", "bad.wdb", "*"},
        {"values", "bad.wdb", "*", "--from", "900", "--resolution", "500"},
        {"next", "bad.wdb", "100", "*"},
        {"previous", "bad.wdb", "900", "*"},
        {"draw", "bad.wdb", "-o", "bad.svg"},
        {"draw", "bad.wdb"},
        {"export", "bad.wdb", "bad.vcd"},
        {"events", "bad.wdb"},
        {"verify", "bad.wdb"}};
    const unsigned int seed = numberFromEnvironment("TRACEWELL_SEED", std::random_device{}());
    const unsigned int mutations = numberFromEnvironment("TRACEWELL_MUTATIONS", 200);
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed) +
                 " TRACEWELL_MUTATIONS=" + std::to_string(mutations));
    std::mt19937 random(Tracewell::seeded(seed));
    const FileMutator mutators[] = {FileMutator(readFile(m_directory.path("imported.wdb"))),
                                    FileMutator(readFile(m_directory.path("kernel.wdb"))),
                                    FileMutator(readFile(m_directory.path("transitions.wdb")))};
    for (const char* const sound : {"imported.wdb", "kernel.wdb", "transitions.wdb"}) {
        if (sound[0] != 't') {
            EXPECT_GT(mutators[sound[0] == 'k'].countStreams(), 5u);
        }
        for (std::vector<std::string> command : commands) {
            if (sound[0] == 't' && command[0] == "events") {
                continue;
            }
            command[1] = sound;
            const Outcome outcome = run(command);
            ASSERT_EQ(outcome.exitCode(), 0) << outcome.describe();
        }
    }

    constexpr std::size_t kChoice[] = {0, 0, 0, 0, 1, 2, 2, 2};
    unsigned int refused = 0;
    for (unsigned int i = 0; i < mutations; ++i) {
        writeFile(m_directory.path("bad.wdb"), mutators[kChoice[random() % 8]].mutate(random));
        for (unsigned int part = 0; part < 3; ++part) {
            const auto& command = commands[(3 * i + part) % commands.size()];
            std::filesystem::remove(m_directory.path("bad.svg"));
            std::filesystem::remove(m_directory.path("bad.vcd"));
            const Outcome outcome = run(command);
            SCOPED_TRACE("mutation " + std::to_string(i) + ": " + outcome.describe());
            ASSERT_TRUE(outcome.exitCode() == 0 || outcome.exitCode() == 1);
            ASSERT_EQ(outcome.err.find("Sanitizer"), std::string::npos);
            ASSERT_LT(outcome.peakKib, kPeakKib);
            refused += outcome.exitCode() == 1;
            ASSERT_FALSE(outcome.exitCode() == 1 && outcome.err.empty() && outcome.out.empty());
        }
    }
    // Damage that every command refuses, or none, would try nothing.

    EXPECT_GT(refused, 0u);
    EXPECT_LT(refused, 3 * mutations);
}

TEST_F(Mutation, whatDamageChangesInAnAnswerIsToldInOneLine)
{
    // Without texts, which would be missed first where the index is cut off.
    std::string vcd = readFile(m_directory.path("plain.vcd"));
    for (std::size_t at = 0; (at = vcd.find("01u", at)) != std::string::npos;) {
        vcd[at + 2] = 'x';
    }
    writeFile(m_directory.path("plain.vcd"), vcd);
    for (const char* const store : {"indexed", "columns"}) {
        ASSERT_EQ(
            run({"import", "--store", store, "plain.vcd", store + std::string(".wdb")}).exitCode(),
            0);
    }
    const std::vector<std::vector<std::string>> commands = {
        {"values", "bad.wdb", "*"},           {"next", "bad.wdb", "100", "*"},
        {"previous", "bad.wdb", "9000", "*"}, {"draw", "bad.wdb"},
        {"export", "bad.wdb", "-"},           {"events", "bad.wdb"},
        {"diff", "bad.wdb", "run.vcd"}};
    const unsigned int seed = numberFromEnvironment("TRACEWELL_SEED", std::random_device{}());
    const unsigned int mutations = numberFromEnvironment("TRACEWELL_MUTATIONS", 60);
    SCOPED_TRACE("TRACEWELL_SEED=" + std::to_string(seed));
    std::mt19937 random(Tracewell::seeded(seed));
    for (const char* const sound : {"imported.wdb", "indexed.wdb", "columns.wdb"}) {
        const bool isColumns = sound[0] == 'c';
        const std::string content = readFile(m_directory.path(sound));
        const FileMutator mutator(content);
        writeFile(m_directory.path("bad.wdb"), content);
        std::vector<std::string> answers;
        for (const auto& command : commands) {
            answers.push_back(run(command).out);
        }
        unsigned int told = 0;
        for (unsigned int i = 0; i < mutations; ++i) {
            std::string bad = content;
            if (isColumns) {
                // The root that it was closed with, then any place; names and lists of sections lie
                // in front.
                char& byte = i < 2 ? bad[bad.find("COLROOT")]
                                   : bad[bad.size() / 2 + random() % (bad.size() / 2)];
                byte = static_cast<char>(byte ^ (1 << random() % 8));
            } else if (i < 2) {
                // Too short for a node of an index.
                bad.resize(content.find("$enddefinitions") + 5000);
            } else {
                bad = mutator.spoil(random);
            }
            writeFile(m_directory.path("bad.wdb"), bad);
            for (std::size_t part = i % 2; part < commands.size(); part += 2) {
                if (isColumns && commands[part][0] == "events") {
                    continue;
                }
                const Outcome outcome = run(commands[part]);
                SCOPED_TRACE(std::string(sound) + ", mutation " + std::to_string(i) + ": " +
                             outcome.describe());
                if (outcome.out == answers[part]) {
                    continue;
                }
                ++told;
                EXPECT_EQ(outcome.exitCode(), commands[part][0] == "diff" ? 2 : 1);
                EXPECT_EQ(outcome.err.rfind("tracewell: bad.wdb: ", 0), 0u);
                EXPECT_EQ(outcome.err.find('\n') + 1, outcome.err.size());
            }
        }
        EXPECT_GT(told, mutations / 4);
    }
}

} // namespace Tracewell
