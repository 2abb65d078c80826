// Files that were written once and that every version reads.

#include "ChildProcess.h"

#include "../events/EventTestData.h"

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
        if (first == events.end())
            events.push_back(event);
        else
            first->value += event.value;
    }
    std::sort(events.begin(), events.end(),
              [](const TestEvent& a, const TestEvent& b) { return a.time < b.time; });
    EXPECT_EQ(events, expected);
    EXPECT_EQ(database->getLatestTime(), 693);
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenEvents,
                         ::testing::Values("list.wdb", "killed.wdb", "index.wdb"));

TEST(GoldenRecording, isExportedByEveryVersion)
{
    const TestDirectory directory;
    const Outcome outcome = runProgram(
        {E2E_TRACEWELL, "export", kData + "/all_kinds.wdb", "out.vcd"}, directory.path(""));
    EXPECT_EQ(outcome.exitCode(), 0) << outcome.describe();
    EXPECT_EQ(changesOf(directory.path("out.vcd")), changesOf(kData + "/all_kinds.vcd"));
}

} // namespace Tracewell
