// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

namespace {

class Listing : public Reading
{
protected:
    void SetUp() override
    {
        RecordingBuilder builder(path(), kSmallDesign, 32);
        builder.letters(0, "top.clk", "0");
        builder.letters(12500, "top.clk", "1");
        builder.text(3, "top.dut.phase", "x");
    }
};

} // namespace

TEST_F(Listing, infoTellsEverythingAboutTheFile)
{
    const std::string info = output("info");
    for (const char* line :
         {"version       Zelnix WAVE DATABASE 01\n", "application   builder\n",
          "closed        yes\n", "timescale     1 ns\n", "latest time   12500 (12.5 us)\n",
          "database      1001 (a list for each bucket of addresses)\n",
          "of 32 addresses, 2 in use\n", "event blocks  2\n", "events        3\n",
          "strings       1\n", "signals       10 names of 9 objects\n"}) {
        EXPECT_THAT(info, HasSubstr(line));
    }
    EXPECT_THAT(info, HasSubstr("\nWDB.Event            1"));

    const nlohmann::json json = nlohmann::json::parse(output("info", {"--json"}));
    EXPECT_EQ(json["latestTime"], 12500);
    EXPECT_EQ(json["bucketDivision"], 32);
    EXPECT_EQ(json["closed"], "yes");
    EXPECT_EQ(json["events"], 3);
    EXPECT_EQ(json["sections"][0]["id"], "Zelnix DBG");
    EXPECT_EQ(json["sections"][1]["size"], 72);
}

TEST_F(Listing, signalsAreListedAsDeclared)
{
    // Vectors, reals and texts lie first, then events, then scalars.
    EXPECT_EQ(output("signals"), "name               kind     width  address  size\n"
                                 "top.clk            wire         1       34     1\n"
                                 "top.tick           event        1       32     2\n"
                                 "top.dut.data[7:0]  reg          8        0     8\n"
                                 "top.dut.clk        wire         1       34     1\n"
                                 "top.dut.level      real        64        8     8\n"
                                 "top.dut.phase      string       1       16     8\n"
                                 "top.dut.n[31:0]    integer     32       24     8\n"
                                 "top.dut.never      wire         1       35     1\n"
                                 "top.dut.same       wire         1       36     1\n"
                                 "top.dut.same#2     wire         1       37     1\n");
    EXPECT_EQ(output("signals", {"*.d*l"}), "name           kind  width  address  size\n"
                                            "top.dut.level  real     64        8     8\n");
    const nlohmann::json json = nlohmann::json::parse(output("signals", {"--json"}));
    EXPECT_EQ(json[2].dump(),
              R"({"address":0,"kind":"reg","name":"top.dut.data[7:0]","size":8,"width":8})");
}

TEST_F(Listing, eventsAreTheRawRecordsInStoredOrder)
{
    EXPECT_EQ(output("events"), "bucket   time  address  length  value\n"
                                "     0      3       16       8  0100000001007300\n"
                                "     1      0       34       1  00\n"
                                "     1  12500       34       1  01\n");
    EXPECT_EQ(output("events", {"--bucket", "0", "--json"}),
              "[\n{\"bucket\":0,\"time\":3,\"address\":16,\"length\":8,"
              "\"value\":\"0100000001007300\"}\n]\n");
    EXPECT_EQ(output("events", {"--bucket", "2"}), "bucket   time  address  length  value\n");
    EXPECT_THAT(run({"events", path(), "--bucket", "9999"}).error, HasSubstr("no bucket 9999"));
}
