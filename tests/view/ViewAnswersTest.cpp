// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestFiles.h"

#include "draw/Lane.h"
#include "text/Failure.h"
#include "view/RequestRules.h"
#include "view/ViewAnswers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {
namespace {

using Json = nlohmann::json;
using ::testing::HasSubstr;

const std::string kRun = "$timescale 1 ns $end\n$scope module top $end\n$var wire 1 ! clk $end\n"
                         "$var reg 8 \" bus [7:0] $end\n$scope module sub $end\n"
                         "$attrbegin misc 08 direction 1 $end\n$var real 64 # level $end\n"
                         "$var event 1 $ tick $end\n$upscope $end\n$upscope $end\n"
                         "$enddefinitions $end\n#0\n0!\nb0 \"\nr1 #\n#10\n1!\nb101 \"\n1$\n"
                         "#20\n0!\nbx \"\nr2.5 #\n#30\n1!\n1$\n#100\n";

class Answers : public ::testing::Test
{
protected:
    Answers()
    {
        Tracewell::writeFile(m_directory.path("run.vcd"), kRun);
        std::vector<std::unique_ptr<ViewedRun>> runs;
        runs.push_back(std::make_unique<ViewedRun>(
            "run.vcd", std::make_unique<FileSource>(m_directory.path("run.vcd"), Reach::Whole)));
        m_answers = std::make_unique<ViewAnswers>(std::move(runs),
                                                  SessionFile(m_directory.path("s.json")), nullptr);
    }

    Json ask(Json request)
    {
        request["id"] = 7;
        bool isText = false;
        const std::string answer = m_answers->answer(request.dump(), isText);
        EXPECT_TRUE(isText);
        Json json = Json::parse(answer);
        EXPECT_EQ(json["id"], 7);
        return json;
    }

    Tracewell::TestDirectory m_directory;
    std::unique_ptr<ViewAnswers> m_answers;
};

TEST_F(Answers, tellNamesValuesAndChanges)
{
    const Json hello = ask({{"ask", "hello"}});
    EXPECT_EQ(hello["runs"][0]["latest"], "100");
    EXPECT_EQ(hello["runs"][0]["exponent"], -9);
    const Json top = ask({{"ask", "scope"}, {"scope", 0}});
    EXPECT_EQ(top["scopes"][0]["name"], "sub");
    EXPECT_EQ(top["variables"][1]["name"], "bus[7:0]");
    EXPECT_EQ(top["variables"][1]["form"], "bus");
    const Json found =
        ask({{"ask", "find"}, {"pattern", "LEV"}, {"mode", "text"}, {"direction", "in"}});
    ASSERT_EQ(found["variables"].size(), 1u);
    EXPECT_EQ(found["variables"][0]["name"], "top.sub.level");
    EXPECT_EQ(
        ask({{"ask", "find"}, {"pattern", "top.*.tick"}, {"mode", "glob"}})["variables"].size(),
        1u);
    EXPECT_EQ(
        ask({{"ask", "find"}, {"pattern", "c(l|x)k$"}, {"mode", "regex"}})["variables"].size(), 1u);
    // Of another width, and gone.
    const Json resolved = ask({{"ask", "resolve"}, {"names", {"top.bus[3:0]", "top.gone"}}});
    EXPECT_EQ(resolved["variables"][0]["v"], 1);
    EXPECT_TRUE(resolved["variables"][1].is_null());

    const Json rows = {{{"v", 0}},
                       {{"v", 1}, {"radix", "bin"}},
                       {{"v", 1}, {"bits", {3, 0}}},
                       {{"v", 2}},
                       {{"v", 3}}};
    EXPECT_EQ(ask({{"ask", "values"}, {"rows", rows}, {"time", "10"}})["values"],
              (Json{"1", "00000101", "5", "1", "!"}));
    EXPECT_EQ(ask({{"ask", "values"}, {"rows", rows}, {"time", "29"}})["values"],
              (Json{"0", "xxxxxxxx", "x", "2.5", ""}));
    const Json clock = {{"v", 0}};
    EXPECT_EQ(ask({{"ask", "step"}, {"row", clock}, {"time", "10"}, {"forward", true}})["time"],
              "20");
    EXPECT_TRUE(ask({{"ask", "step"}, {"row", clock}, {"time", "30"}, {"forward", true}})["time"]
                    .is_null());
    const Json count = ask({{"ask", "count"}, {"row", clock}, {"from", "0"}, {"to", "100"}});
    EXPECT_EQ(count["changes"], 3);
    EXPECT_EQ(count["rises"], 2);
    EXPECT_EQ(ask({{"ask", "findValue"},
                   {"row", {{"v", 1}}},
                   {"time", "0"},
                   {"text", "05"},
                   {"forward", true}})["time"],
              "10");
    EXPECT_THAT(
        ask({{"ask", "svg"}, {"rows", rows}, {"from", "0"}, {"to", "100"}, {"width", 600}})["svg"]
            .get<std::string>(),
        HasSubstr("</svg>"));
}

TEST_F(Answers, lanesAreFramesOfSegments)
{
    const std::string request =
        R"({"ask":"lanes","place":"stage0","rows":[{"v":0},{"v":3},{"v":2,"curve":"steps"}],)"
        R"("from":"5","to":"105","pixels":1000,"id":9})";
    EXPECT_EQ(ViewAnswers::placeOf(request), "stage0");
    bool isText = true;
    const std::string frame = m_answers->answer(request, isText);
    ASSERT_FALSE(isText);
    const auto number = [&](std::size_t at, auto example) {
        std::memcpy(&example, frame.data() + at, sizeof example);
        return example;
    };
    EXPECT_EQ(number(0, std::uint32_t{}), 9u);
    EXPECT_EQ(number(4, std::uint32_t{}), 3u);
    EXPECT_EQ(number(8, std::int64_t{}), 5);
    EXPECT_EQ(number(24, std::int64_t{}), 100);
    // The clock: low before, high, low, high to the end of the run.
    ASSERT_EQ(number(32, std::uint32_t{}), 4u);
    const std::int64_t starts[] = {5, 10, 20, 30, 100};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(number(48 + 8 * i, std::int64_t{}), starts[i]);
    }
    const auto low = static_cast<std::uint8_t>(Look::Low);
    const auto high = static_cast<std::uint8_t>(Look::High);
    EXPECT_EQ(static_cast<std::uint8_t>(frame[88]), low);
    EXPECT_EQ(static_cast<std::uint8_t>(frame[89]), high | 128);
}

TEST_F(Answers, noRequestDoesHarm)
{
    for (const Json& request : std::vector<Json>{
             {{"ask", "lanes"}, {"rows", {{{"v", 99}}}}, {"from", "0"}, {"to", "1"}, {"pixels", 1}},
             {{"ask", "lanes"}, {"rows", 5}},
             {{"ask", "scope"}, {"scope", 1e18}},
             {{"ask", "scope"}, {"scope", 77}},
             {{"ask", "values"}, {"rows", {{{"v", -1}}}}, {"time", "x"}},
             {{"ask", "values"}, {"rows", {{{"v", 1}, {"bits", {99, 0}}}}}, {"time", "1"}},
             {{"ask", "find"}, {"pattern", "(((("}, {"mode", "regex"}},
             {{"ask", "find"}, {"pattern", std::string(5000, 'a')}},
             {{"ask", "differences"}},
             {{"ask", "log"}, {"from", 0}},
             {{"ask", "hello"}, {"run", 3}, {"x", nullptr}},
             {{"ask", "step"}, {"run", 3}},
             {{"ask", "nothing"}}}) {
        const Json answer = ask(request);
        EXPECT_TRUE(answer.contains("error") || answer.contains("runs")) << request;
    }
    bool isText = false;
    for (const char* text : {"", "{", "[]", "null", "{\"ask\":7}", "{\"id\":{}}", "\xff\xfe"}) {
        EXPECT_THAT(m_answers->answer(text, isText), HasSubstr("error"));
    }
}

TEST_F(Answers, aSessionIsKeptInItsFileAlone)
{
    EXPECT_FALSE(ask({{"ask", "hello"}}).contains("session") &&
                 ask({{"ask", "hello"}})["session"].is_object());
    ask({{"ask", "save"}, {"session", {{"rows", {1, 2}}}}, {"path", "/tmp/elsewhere"}});
    EXPECT_EQ(ask({{"ask", "hello"}})["session"]["rows"], (Json{1, 2}));
    EXPECT_TRUE(ask({{"ask", "save"}, {"session", 7}}).contains("error"));
    EXPECT_EQ(ask({{"ask", "hello"}})["session"]["rows"], (Json{1, 2}));
}

TEST_F(Answers, aSessionTakesThePlaceOfNoOtherFile)
{
    const std::string path = m_directory.path("s.json");
    for (const std::string text : {"$date today $end", "{}", "[1]", "{\"rows\": 7}"}) {
        std::ofstream(path, std::ios::binary) << text;
        EXPECT_THROW(SessionFile{path}, Failure) << text;
        EXPECT_THAT(ask({{"ask", "save"}, {"session", {{"rows", Json::array()}}}}).dump(),
                    HasSubstr("is no session"));
        std::ifstream file(path, std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text);
    }
    EXPECT_THROW(SessionFile{m_directory.path("")}, Failure);
    std::ofstream(path, std::ios::trunc).flush();
    EXPECT_TRUE(SessionFile(path).read().is_null());
}

TEST(RequestRules, ofItsOwnHostAndOriginAlone)
{
    using Answer = RequestRules::Answer;
    struct Case
    {
        const char* host;
        const char* origin;
        const char* target;
        const char* method;
        bool isUpgrade;
        Answer answer;
    };
    const Case cases[] = {
        {"127.0.0.1:8000", nullptr, "/", "GET", false, Answer::Page},
        {"localhost:8000", "http://localhost:8000", "/main.js", "GET", false, Answer::Page},
        {"127.0.0.1:8000", "http://localhost:8000", "/", "GET", false, Answer::Refused},
        {"127.0.0.1:8001", nullptr, "/", "GET", false, Answer::Refused},
        {"127.0.0.1", nullptr, "/", "GET", false, Answer::Refused},
        {"evil.example:8000", nullptr, "/", "GET", false, Answer::Refused},
        {"127.0.0.1:8000.evil", nullptr, "/", "GET", false, Answer::Refused},
        {"", nullptr, "/", "GET", false, Answer::Refused},
        {"127.0.0.1:8000", "null", "/", "GET", false, Answer::Refused},
        {"127.0.0.1:8000", "https://127.0.0.1:8000", "/", "GET", false, Answer::Refused},
        {"127.0.0.1:8000", nullptr, "/", "POST", false, Answer::NotAllowed},
        {"127.0.0.1:8000", nullptr, "/", "HEAD", false, Answer::NotAllowed},
        {"127.0.0.1:8000", nullptr, "/../etc/passwd", "GET", false, Answer::NotFound},
        {"127.0.0.1:8000", nullptr, "/%2e%2e/etc/passwd", "GET", false, Answer::NotFound},
        {"127.0.0.1:8000", nullptr, "/index.html", "GET", false, Answer::NotFound},
        {"127.0.0.1:8000", nullptr, "/?x", "GET", false, Answer::NotFound},
        {"127.0.0.1:8000", nullptr, "http://127.0.0.1:8000/", "GET", false, Answer::NotFound},
        {"127.0.0.1:8000", "http://127.0.0.1:8000", "/data", "GET", true, Answer::Data},
        {"127.0.0.1:8000", nullptr, "/data", "GET", true, Answer::Refused},
        {"127.0.0.1:8000", "http://127.0.0.1:8000", "/data", "GET", false, Answer::Refused},
        {"127.0.0.1:8000", "http://127.0.0.1:8000", "/", "GET", true, Answer::Refused},
    };
    const RequestRules rules(8000);
    for (const Case& one : cases) {
        RequestRules::Request request;
        request.host = one.host;
        request.hosts = 1;
        request.hasOrigin = one.origin != nullptr;
        request.origins = request.hasOrigin ? 1 : 0;
        request.origin = request.hasOrigin ? one.origin : "";
        request.target = one.target;
        request.method = one.method;
        request.isUpgrade = one.isUpgrade;
        EXPECT_EQ(rules.judge(request), one.answer)
            << one.host << ' ' << one.target << ' ' << one.method;
        request.hosts = 2;
        EXPECT_EQ(rules.judge(request), Answer::Refused);
    }
    const RequestRules tunnelled(0);
    RequestRules::Request request;
    request.hosts = 1;
    request.method = "GET";
    request.target = "/";
    for (const auto& [host, answer] : {std::pair("localhost:1234", Answer::Page),
                                       {"localhost:", Answer::Refused},
                                       {"localhost:12x4", Answer::Refused},
                                       {"elsewhere:1234", Answer::Refused}}) {
        request.host = host;
        EXPECT_EQ(tunnelled.judge(request), answer) << host;
    }
}

} // namespace
} // namespace tracewell
