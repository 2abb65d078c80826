// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <random>
#include <string>
#include <vector>

using ::testing::HasSubstr;

namespace {

class Find : public Reading
{
protected:
    void import(const std::string& text, const std::string& store)
    {
        write("run.vcd", text);
        ASSERT_EQ(run({"import", "--store", store, path("run.vcd"), path()}).code, 0);
    }
};

/// Against the scan of `values`, over many blocks, in the middle of which nothing changes and a lot
/// happens at one time.
TEST_F(Find, agreesWithAScanAtAnyTime)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE(fmt::format("seed {}", seed));
    std::mt19937 random(Tracewell::seeded(seed));
    std::string text = "$timescale 1 ns $end $scope module t $end\n"
                       "$var reg 70 a v [69:0] $end $var wire 1 b s $end $var real 64 c r $end\n"
                       "$var event 1 d e $end $var string 1 f text $end $var wire 1 g late $end\n"
                       "$upscope $end $enddefinitions $end\n";
    constexpr unsigned int kSteps = 6000;
    for (unsigned int time = 10; time < kSteps; ++time) {
        text += fmt::format("#{}\n", time);
        const unsigned int changes =
            time == kSteps / 2 ? 2000u : static_cast<unsigned int>(random() % 3);
        for (unsigned int i = 0; i < changes; ++i) {
            switch (random() % 6) {
            case 0:
                text += fmt::format("b{:b}x{:b} a\n", random(), random());
                break;
            case 1:
                text += random() % 2 != 0 ? "1b\n" : "ub\n";
                break;
            case 2:
                text += fmt::format("r{} c\n", random() % 100);
                break;
            case 3:
                text += "1d\n";
                break;
            case 4:
                text += fmt::format("s{} f\n", random());
                break;
            default:
                text += time > kSteps - 100 ? "0g\n" : "";
            }
        }
    }
    import(text, "indexed");
    const std::vector<std::string> signals = {"t.v",    "t.s",    "t.r", "t.e",
                                              "t.text", "t.late", "@3:9"};
    for (unsigned int i = 0; i < 150; ++i) {
        const unsigned int time = i == 0   ? kSteps / 2
                                  : i == 1 ? kSteps / 2 - 1
                                           : static_cast<unsigned int>(random() % (kSteps + 20));
        const std::string at = std::to_string(time);
        const std::string& signal = signals[i % signals.size()];
        SCOPED_TRACE(signal + " at " + at);
        const auto found = nlohmann::json::parse(output("find", {at, signal, "--json"}));
        const auto rows = nlohmann::json::parse(
            output("values", {signal, "--from", at, "--to", at, "--json"}))["rows"];
        // Before it fires, an event has nothing to show.
        const bool fires = !rows.empty() && rows.back()["time"] == time;
        if (signal != "t.e") {
            EXPECT_EQ(found["value"], rows.empty() ? nlohmann::json() : rows.back()["values"][0]);
            if (!rows.empty()) {
                // A value that came back at one time was recorded, and is no change.
                EXPECT_GE(found["recorded"], rows.back()["time"]);
                EXPECT_LE(found["recorded"], time);
            }
        } else if (fires) {
            EXPECT_EQ(found["value"], rows.back()["values"][0]);
            EXPECT_EQ(found["recorded"], time);
        }
        EXPECT_LE(found["touched"]["blocks"], 10);
    }
}

TEST_F(Find, namesTheBlockAndWhatWasTouched)
{
    import("$timescale 1 ns $end $var reg 8 ! v [7:0] $end $enddefinitions $end\n"
           "#5\nb1 !\n#20\nb10101010 !\n",
           "indexed");
    EXPECT_THAT(output("find", {"10ns", "v"}),
                ::testing::MatchesRegex("signal    v\\[7:0\\]\ntime      10 \\(10 ns\\)\n"
                                        "value     01\nrecorded  5 \\(5 ns\\)\n"
                                        "block     at [0-9]+, [0-9]+ bytes, of bucket 0: 2 events, "
                                        "time 5 \\(5 ns\\) to 20 \\(20 ns\\)\n"
                                        "touched   1 index node and 1 block\n"));
    EXPECT_THAT(output("find", {"4ns", "v"}), HasSubstr("value     none so far\n"));
}

TEST_F(Find, refusesOtherStoresWithARemedy)
{
    for (const std::string store : {"events", "transitions"}) {
        import("$var wire 1 ! a $end $enddefinitions $end\n#5\n1!\n", store);
        const Result result = run({"find", path(), "5", "a"});
        EXPECT_EQ(result.code, 1);
        EXPECT_THAT(result.error, HasSubstr("has no index by time; `tracewell values`"));
    }
}

} // namespace
