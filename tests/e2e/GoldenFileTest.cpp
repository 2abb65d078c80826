// SPDX-License-Identifier: BSD-3-Clause

// Files that were written once and that every version reads.

#include "testing/ChildProcess.h"

#include "DataBase.h"

#include "testing/EventTestData.h"

#include <algorithm>

namespace Tracewell {

namespace {

const std::string kData = E2E_DATA;

/// The lines of a VCD, those of one time in alphabetical order.
std::vector<std::string> changesOf(const std::string& path)
{
    std::vector<std::string> lines;
    std::ifstream file(path);
    std::size_t begin = 0;
    for (std::string line; std::getline(file, line);) {
        if (line[0] == '#') {
            std::sort(lines.begin() + static_cast<std::ptrdiff_t>(begin), lines.end());
            begin = lines.size() + 1;
        }
        lines.push_back(line);
    }
    return lines;
}

constexpr ValueType kStoredKinds[] = {ValueByte, ValueInt32, ValueInt64,   ValueDouble,
                                      ValueBit,  ValueVlog,  ValueStdLogic};
constexpr unsigned int kClocks = 15;
constexpr unsigned int kOnlyInitial = 18;

/// Seven kinds with 32-bit gaps and seven with one of 64 bits, then clocks of 1, 2 and 3 gaps.
std::vector<Transition> transitionsOf(unsigned int id)
{
    const bool isClock = id >= kClocks;
    const ValueType kind = isClock ? kStoredKinds[id - kClocks + 4] : kStoredKinds[(id - 1) % 7];
    const int period = static_cast<int>(id - kClocks + 1);
    std::vector<Transition> transitions(isClock ? 2050 : 9);
    for (int i = 0; i < static_cast<int>(transitions.size()); ++i) {
        Transition& transition = transitions[static_cast<std::size_t>(i)];
        unsigned long long bits = 0x9E3779B97F4A7C15 * id * static_cast<unsigned int>(i + 1);
        bits >>= kind == ValueByte       ? 56
                 : kind == ValueInt32    ? 32
                 : kind == ValueBit      ? 63
                 : kind == ValueVlog     ? 62
                 : kind == ValueStdLogic ? 60
                                         : 0;
        if (isClock) {
            bits = static_cast<unsigned int>(i % 2 + (kind == ValueStdLogic ? 2 : 0));
        }
        transition.time = i * 10LL + (isClock ? i % period : i > 4 && id > 7 ? 1LL << 33 : 0);
        transition.value.setBits(kind, bits);
    }
    return transitions;
}

} // namespace

class GoldenEvents : public ::testing::TestWithParam<const char*>
{};

// list.wdb: kind 1000; killed.wdb: kind 1001, never closed; index.wdb: kind 1002.
TEST_P(GoldenEvents, areReadByEveryVersion)
{
    std::vector<TestEvent> expected;
    for (int i = 0; i < 100; ++i) {
        const std::string value = {static_cast<char>(i), static_cast<char>(i * 5)};
        expected.push_back({i * 7, i * 13 % 300, value.substr(0, i % 2 == 1 ? 1 : 2)});
    }
    WdbFileManager files;
    files.open(kData + "/" + GetParam());
    const auto database = openDatabase(files);
    std::vector<TestEvent> events;
    // Where a change crosses the border of two buckets it is stored in pieces.
    for (const TestEvent& event : eventsOf(*database)) {
        const auto first = std::find_if(events.begin(), events.end(), [&](const TestEvent& other) {
            return other.time == event.time;
        });
        if (first == events.end()) {
            events.push_back(event);
        } else {
            first->value += event.value;
        }
    }
    std::sort(events.begin(), events.end(),
              [](const TestEvent& a, const TestEvent& b) { return a.time < b.time; });
    EXPECT_EQ(events, expected);
    EXPECT_EQ(database->getLatestTime(), 693);
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenEvents,
                         ::testing::Values("list.wdb", "killed.wdb", "index.wdb"));

TEST(GoldenTransitions, areReadByEveryVersion)
{
    const auto open = [](const char* name) {
        return std::make_unique<DataBase>(DataBaseMode::Viewer, nullptr, "", kData + "/" + name, 0,
                                          0);
    };
    const auto dataBase = open("transitions.wdb");
    EXPECT_EQ(dataBase->getLatestTime(), 1LL << 40);
    for (unsigned int id = 1; id < kOnlyInitial; ++id) {
        SCOPED_TRACE(id);
        const std::vector<Transition> expected = transitionsOf(id);
        std::vector<Transition> found;
        dataBase->getTransitions(id, 0, expected.back().time + 1, 0, found);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const Value& value = expected[i].value;
            EXPECT_EQ(found[i].time, expected[i].time);
            EXPECT_EQ(found[i].value.getType(),
                      value.getType() < ValueBit ? value.getType() : ValueByte);
            // A block of nine-state values that alternate gives the codes 2 and 3 as 0 and 1.
            EXPECT_EQ(found[i].value.getBits(), value.getBits() - (id == 17 && i < 2047 ? 2 : 0));
        }
    }
    EXPECT_EQ(dataBase->getCurrentTransition(kOnlyInitial, 5).value.getByte(), 8);
    EXPECT_EQ(openErrorOf([&] { open("transitions_killed.wdb"); }).substr(0, 26),
              "The WDB file is incomplete");
}

TEST(GoldenRecording, isExportedByEveryVersion)
{
    const TestDirectory directory;
    const Outcome outcome = runProgram(
        {E2E_TRACEWELL, "export", kData + "/all_kinds.wdb", "out.vcd"}, directory.path(""));
    EXPECT_EQ(outcome.exitCode(), 0) << outcome.describe();
    EXPECT_EQ(changesOf(directory.path("out.vcd")), changesOf(kData + "/all_kinds.vcd"));
}

} // namespace Tracewell
