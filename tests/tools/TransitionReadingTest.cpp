// SPDX-License-Identifier: BSD-3-Clause

// Commands that read transition databases: they say what they say of the same run in an event
// database, and nothing worse than "damaged" of a broken one.

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const char* const kHead = "$timescale 10 ps $end\n$scope module top $end\n"
                          "$var wire 1 ! clk $end\n$var wire 1 s slow $end\n"
                          "$var wire 40 v bus [39:0] $end\n$var wire 8 l low [7:0] $end\n"
                          "$var real 64 r level $end\n$var event 1 e hit $end\n"
                          "$var wire 1 q quiet $end\n$var wire 1 n never $end\n"
                          "$upscope $end\n$enddefinitions $end\n";

class TransitionReading : public Reading
{
protected:
    /// A run whose clock fills several blocks, in both stores: events.wdb and run.wdb.
    void record(unsigned int seed, int steps)
    {
        std::mt19937 random(Tracewell::seeded(seed));
        std::string vcd = kHead;
        vcd += "#0\n0!\nzs\n1q\nbx v\nb1 l\n";
        long long time = 0;
        for (int i = 1; i <= steps; ++i) {
            time += random() % 50 == 0 ? 5'000'000'000 : 1 + random() % 3;
            vcd += "#" + std::to_string(time) + "\n" + (i % 2 != 0 ? "1!\n" : "0!\n");
            if (random() % 7 == 0) {
                vcd += std::string(1, "01xzULH-"[random() % 8]) + "s\n";
            }
            if (random() % 5 == 0) {
                std::string letters;
                for (int bit = 0; bit < 40; ++bit) {
                    letters += random() % 40 == 0 ? "xzwl"[random() % 4] : "01"[random() % 2];
                }
                vcd += "b" + letters + " v\nb" + letters.substr(33) + " l\n";
            }
            if (random() % 11 == 0) {
                vcd += "r" + std::to_string(static_cast<int>(random() % 1000) / 8.0) + " r\n";
            }
            for (auto firings = random() % 13; firings > 10; --firings) {
                vcd += "1e\n";
            }
        }
        vcd += "#" + std::to_string(time + 100) + "\n";
        write("run.vcd", vcd);
        ASSERT_EQ(run({"import", path("run.vcd"), path("events.wdb")}).code, 0);
        const Result import =
            run({"import", "--store", "transitions", path("run.vcd"), path("run.wdb")});
        ASSERT_EQ(import.code, 0) << import.error;
        m_lastTime = time;
    }
    void expectSame(std::vector<std::string> command) const
    {
        command.insert(command.begin() + 1, path("events.wdb"));
        const Result expected = run(command);
        command[1] = path("run.wdb");
        const Result result = run(command);
        SCOPED_TRACE(::testing::PrintToString(command));
        EXPECT_EQ(result.code, expected.code);
        // Both may name the file.
        std::string out = expected.out;
        if (const std::size_t at = out.find("events.wdb"); at != std::string::npos) {
            out.replace(at, 10, "run.wdb");
        }
        // The whole of both would be too much to print.
        const auto differs =
            std::mismatch(result.out.begin(), result.out.end(), out.begin(), out.end());
        const auto at = static_cast<std::size_t>(differs.first - result.out.begin());
        ASSERT_EQ(result.out.substr(std::min(at, result.out.size()), 200),
                  out.substr(std::min(at, out.size()), 200));
    }

    long long m_lastTime = 0;
};

TEST_F(TransitionReading, commandsSayTheSameOfBothStores)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    record(seed, 5000);
    expectSame({"values", "*"});
    expectSame({"values", "top.low", "top.hit", "--json"});
    for (const char* const store : {"events", "run"}) {
        const std::string name = store;
        ASSERT_EQ(run({"export", path(name + ".wdb"), path(name + ".vcd")}).code, 0);
    }
    EXPECT_TRUE(read("run.vcd") == read("events.vcd"));
    std::mt19937_64 random(Tracewell::seeded(seed));
    for (int i = 0; i < 40; ++i) {
        const auto from =
            static_cast<long long>(random() % static_cast<unsigned long long>(m_lastTime + 200));
        const std::string time = std::to_string(from);
        const std::string end = std::to_string(from + static_cast<long long>(random() % 500));
        expectSame({"values", "*", "--from", time, "--to", end});
        for (const char* const name :
             {"top.clk", "top.slow", "top.bus", "top.level", "top.hit", "top.quiet", "top.never"}) {
            expectSame({"next", time, name});
            expectSame({"previous", time, name});
        }
        expectSame({"draw", "--from", time, "--to", std::to_string(from + 30), "--width", "120"});
    }
}

TEST_F(TransitionReading, objectsWithoutNamesAreAskedForByNumber)
{
    record(1, 10);
    EXPECT_EQ(output("values", {"@1", "--to", "0"}), "time (10 ps)  @1\n           0  0\n");
    EXPECT_THAT(run({"values", path(), "@0x99999999"}).error, HasSubstr("@ID or @ID:COUNT"));
    EXPECT_THAT(run({"events", path()}).error, HasSubstr("for event databases"));
}

/// Bytes of the file that the places of damage count from.
enum class Start { Header, FirstBlock, Values, Tree, FirstRecord };

struct Damage
{
    const char* name;
    Start start;
    std::size_t distance;
    unsigned int value;
    const char* finding;
};

class TransitionDamage : public TransitionReading, public ::testing::WithParamInterface<Damage>
{
protected:
    static std::size_t startOf(Start start, const std::string& bytes)
    {
        const auto wordAt = [&](std::size_t at) {
            std::uint32_t word = 0;
            std::memcpy(&word, &bytes[at], sizeof word);
            return std::size_t{word};
        };
        switch (start) {
        case Start::FirstBlock:
            return wordAt(24);
        case Start::Values:
            return wordAt(32);
        case Start::Tree:
            return wordAt(40);
        case Start::FirstRecord:
            return wordAt(wordAt(40) + 24);
        case Start::Header:
            break;
        }
        return 0;
    }
};

TEST_P(TransitionDamage, isFoundWithItsPlace)
{
    record(2, 2500);
    EXPECT_THAT(output("verify"), HasSubstr("sound\n"));
    std::string bytes = read();
    std::memcpy(&bytes[startOf(GetParam().start, bytes) + GetParam().distance], &GetParam().value,
                4);
    write("run.wdb", bytes);
    const Result result = run({"verify", path()});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr(GetParam().finding));
    EXPECT_EQ(run({"verify", path(), "--json"}).code, 1);
    const Result info = run({"info", path()});
    EXPECT_THAT(info.error, HasSubstr("tracewell verify"));
    EXPECT_THAT(info.out, Not(HasSubstr(" -"))) << "no size or place below 0";
}

// The clock comes first: a root with a full leaf and another one.
INSTANTIATE_TEST_SUITE_P(
    Places, TransitionDamage,
    ::testing::Values(
        Damage{"gap", Start::FirstBlock, 0, 7777, "the gaps lead from time 0 to"},
        Damage{"zeroGap", Start::FirstBlock, 0, 0, "record 0: a gap of 0"},
        Damage{"valuesOffset", Start::Header, 32, 1u << 30, "initial values: the largest id"},
        Damage{"treeOffset", Start::Header, 40, 8, "overlaps something else"},
        Damage{"namesOffset", Start::Header, 60, ~0u, "debug data: "},
        Damage{"namesFarBelow", Start::Header, 60, 1u << 31, "it starts at -922337203685"},
        Damage{"objectCount", Start::Tree, 8, 1u << 30, "the directory"},
        Damage{"recordCount", Start::Tree, 16, 5, "object 1, node at"},
        Damage{"twoTrees", Start::Tree, 32, 1, "object 1 has two trees"},
        Damage{"recordOffset", Start::Tree, 24, 1u << 30, "does not lie in the file"},
        Damage{"rootTime", Start::FirstRecord, 12, 5, "the node covers the times 0 to"},
        Damage{"rootGap", Start::FirstRecord, 16, 0, "the node's largest gap is 705032704"},
        Damage{"rootChildren", Start::FirstRecord, 36, 3, "has 3 children"},
        Damage{"leafGap", Start::FirstRecord, 60, 0, "the leaf says at most 705032704"},
        Damage{"leafCount", Start::FirstRecord, 68, 2049, "2049 transitions is not between"},
        Damage{"leafFlags", Start::FirstRecord, 84, 0x1001b, "flags of 0x1001b"},
        Damage{"leafKind", Start::FirstRecord, 84, 0x1c, "of kind 12, those of the object of"},
        Damage{"noValues", Start::FirstRecord, 84, 0x19, "flags of 0x19 has no values"},
        Damage{"leafTime", Start::FirstRecord, 88, 0, "the one before it ends at"},
        Damage{"initialKind", Start::Values, 4, 0xf0, "of no known kind"},
        Damage{"largestId", Start::Values, 0, 0xfffff, "does not lie in the file"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(TransitionReading, randomDamageNeverBreaksIt)
{
    record(4, 2500);
    const std::string sound = read();
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    for (unsigned int i = 0; i < 150; ++i) {
        SCOPED_TRACE(i);
        std::mt19937_64 random(Tracewell::seeded(seed + i));
        write("run.wdb", Tracewell::damaged(sound, random));
        for (const std::vector<std::string>& command : {std::vector<std::string>{"verify", path()},
                                                        {"values", path(), "@1:90"},
                                                        {"export", path(), path("out.vcd")}}) {
            const Result result = run(command);
            ASSERT_TRUE(result.code == 0 || result.code == 1);
            ASSERT_TRUE(result.code == 0 || !result.out.empty() || !result.error.empty());
        }
    }
}

TEST_F(TransitionReading, anUnfinishedFileIsToldFromADamagedOne)
{
    record(3, 20);
    write("run.wdb", std::string(16, '\0') + read().substr(16));
    EXPECT_THAT(run({"values", path(), "*"}).error, HasSubstr("The WDB file is incomplete"));
    EXPECT_THAT(run({"verify", path()}).out, HasSubstr("has not finished the file"));
    EXPECT_THAT(output("info"), HasSubstr("nothing in it can be found"));
}

TEST_F(TransitionReading, nothingIsShownBehindTheTimesOfALeafThatItsBlockRefutes)
{
    std::string vcd = kHead;
    for (int time = 0; time < 100; time += 10) {
        vcd += "#" + std::to_string(time) + "\n" + (time % 20 != 0 ? "1!\n" : "0!\n");
        vcd += time == 40 || time == 60 ? "r" + std::to_string(time) + " r\n" : "";
    }
    write("run.vcd", vcd);
    ASSERT_EQ(run({"import", "--store", "transitions", path("run.vcd"), path("run.wdb")}).code, 0);
    std::string bytes = read();
    // The leaf of the real: from 40 to 60.
    const std::size_t leaf = bytes.find(std::string("\0\0\0\0\x28\0\0\0\0\0\0\0\x3c\0\0\0", 16));
    ASSERT_NE(leaf, std::string::npos);
    bytes[leaf + 4] = 79;
    bytes[leaf + 12] = 80;
    write("run.wdb", bytes);
    write("out.vcd", "older");
    const Result result = run({"export", path(), path("out.vcd")});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.error, HasSubstr("no time is whole"));
    EXPECT_EQ(read("out.part.vcd").find('#'), std::string::npos);
    EXPECT_EQ(read("out.vcd"), "older");
    EXPECT_EQ(run({"values", path(), "*", "--csv"}).out.find("\n0,"), std::string::npos);
}

} // namespace
