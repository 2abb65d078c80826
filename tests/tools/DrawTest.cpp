// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include "draw/Picture.h"
#include "draw/TimeRuler.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <regex>
#include <set>

using namespace tracewell;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// The libraries that draw PNG and PDF keep what they have read about fonts.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libpango\nleak:librsvg\nleak:libglib\n";
}

namespace {

constexpr const char* kLooks = "$timescale 1 ns $end\n$scope module a&b $end\n"
                               "$var wire 1 ! s $end\n$var wire 8 \" v<0> $end\n"
                               "$var event 1 # e $end\n$var wire 1 $ gr\xFCn $end\n"
                               "$var real 64 % r $end\n$upscope $end\n$enddefinitions $end\n";

class Draw : public Reading
{
protected:
    void record()
    {
        RecordingBuilder builder(path(), kLooks);
        const char* letters = "01xzuwlh-";
        for (int i = 0; i < 9; ++i) {
            builder.letters(10 * i, "a&b.s", std::string(1, letters[i]));
        }
        builder.letters(10, "a&b.v<0>", "xxxxxxxx");
        builder.letters(30, "a&b.v<0>", "00x10101");
        builder.letters(50, "a&b.v<0>", "10100101");
        builder.fire(40, "a&b.e");
        builder.fire(80, "a&b.e");
        for (int time = 50; time < 80; ++time) {
            for (int step = 0; step < 20; ++step) {
                builder.letters(time, "a&b.gr\xFCn", step % 2 ? "1" : "0");
            }
            builder.letters(time, "a&b.gr\xFCn", time % 2 ? "1" : "0");
        }
        builder.real(0, "a&b.r", 0.30000000000000004);
        builder.letters(100, "a&b.s", "0");
    }

    std::string svg(std::vector<std::string> arguments = {}) const
    {
        arguments.insert(arguments.end(), {"-o", path("out.svg")});
        EXPECT_EQ(output("draw", arguments), "");
        return read("out.svg");
    }
};

std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

/// Without the texts of attributes, of which a long one is too much for a regular expression.
std::string withoutAttributeTexts(const std::string& xml)
{
    std::string out;
    bool isInTag = false;
    bool isInText = false;
    for (const char c : xml) {
        if (!isInText) {
            isInTag = c == '<' || (isInTag && c != '>');
        }
        EXPECT_FALSE(isInText && (c == '<' || c == '>'));
        const bool isQuote = c == '"' && isInTag;
        if (!isInText || isQuote) {
            out += c;
        }
        isInText = isInText != isQuote;
    }
    return out;
}

/// Tags open and close in pairs, attributes are quoted, and no stray mark-up stands in the text.
void expectWellFormed(const std::string& full)
{
    const std::string xml = withoutAttributeTexts(full);
    static const std::regex kTag(R"re(<(/?)([a-zA-Z]+)((?: [a-zA-Z-]+="[^"<>&]*")*)(/?)>)re");
    std::vector<std::string> open;
    std::size_t at = 0;
    for (auto tag = std::sregex_iterator(xml.begin(), xml.end(), kTag);
         tag != std::sregex_iterator(); ++tag) {
        const auto begin = static_cast<std::size_t>(tag->position());
        EXPECT_EQ(xml.substr(at, begin - at).find_first_of("<>"), std::string::npos);
        at = begin + static_cast<std::size_t>(tag->length());
        if ((*tag)[1].length() > 0) {
            ASSERT_FALSE(open.empty());
            EXPECT_EQ(open.back(), (*tag)[2]);
            open.pop_back();
        } else if ((*tag)[4].length() == 0) {
            open.push_back((*tag)[2]);
        }
    }
    EXPECT_TRUE(open.empty());
    EXPECT_EQ(xml.substr(at), "\n");
    static const std::regex kBareAmpersand("&(?!amp;|lt;|gt;|quot;)");
    EXPECT_FALSE(std::regex_search(full, kBareAmpersand));
}

} // namespace

TEST_F(Draw, pictureIsWellFormedAndShowsEverySortOfValue)
{
    record();
    const std::string picture = svg({"--width", "700"});
    expectWellFormed(picture);
    EXPECT_THAT(picture, HasSubstr("width=\"700\""));
    EXPECT_EQ(count(picture, "<g transform"), 5u);
    // Boxes for x u w -, lines for levels, z and the weak ones.
    for (const char* style : {"xl", "ul", "wl", "nl", "lv", "hz", "wk", "bx", "bp", "bu", "ev"}) {
        EXPECT_GE(count(picture, std::string("class=\"") + style + "\""), 1u) << style;
    }
    EXPECT_THAT(picture, AllOf(HasSubstr(">xx</text>"), HasSubstr(">00x10101</text>"),
                               HasSubstr(">a5</text>"), HasSubstr(">0.30000000000000004</text>"),
                               HasSubstr(">60 ns</text>")));
    EXPECT_THAT(picture, AllOf(HasSubstr("a&amp;b.v&lt;0&gt;"), HasSubstr("gr\xEF\xBF\xBDn"),
                               Not(HasSubstr("gr\xFCn"))));
}

TEST_F(Draw, everyChangeOfALevelsStrengthIsToBeSeen)
{
    RecordingBuilder builder(path(), "$var wire 1 ! s $end\n$enddefinitions $end\n");
    const std::string letters = "l0h1zl1hz0ll";
    for (std::size_t i = 0; i < letters.size(); ++i) {
        builder.letters(static_cast<long long>(10 * i), "s", std::string(1, letters[i]));
    }
    builder.close();
    const std::string picture = svg({"--all"});
    std::set<std::string> places;
    for (const char* style : {"lv", "wk", "hz"}) {
        const std::string start = fmt::format("<path class=\"{}\" d=\"", style);
        const std::size_t from = picture.find(start);
        ASSERT_NE(from, std::string::npos) << style;
        std::string place;
        for (std::size_t i = from + start.size(); picture[i] != '"'; ++i) {
            if (picture[i] == 'M' || picture[i] == 'H') {
                place = picture.substr(i + 1, picture.find_first_of(" HMV\"", i + 1) - i - 1);
            } else if (picture[i] == 'V') {
                places.insert(place);
            }
        }
    }
    EXPECT_EQ(places.size(), letters.size() - 2) << "the last letter is no change";
    // From l to 0 and back: nothing but a tick across the line.
    EXPECT_EQ(count(picture, " 5.5V11.5"), 2u);
}

TEST_F(Draw, stretchWithMoreChangesThanPixelsIsABar)
{
    RecordingBuilder builder(path(), kLooks);
    for (int time = 0; time < 60000; ++time) {
        builder.letters(time, "a&b.s", time % 2 ? "1" : "0");
        builder.letters(time, "a&b.v<0>", time % 2 ? "00000001" : "10000000");
    }
    builder.letters(100000, "a&b.s", "1");
    builder.close();
    EXPECT_EQ(count(svg(), "class=\"dl\"") + count(svg(), "class=\"db\""), 0u);
    EXPECT_THAT(svg(), HasSubstr(">0 – 50 ns of 100 us<"));
    EXPECT_THAT(output("draw", {"--width", "100"}), HasSubstr("0 – 20 ns of 100 us; --all shows"));
    const std::string picture = svg({"--all"});
    EXPECT_EQ(count(picture, "class=\"dl\""), 1u);
    EXPECT_EQ(count(picture, "class=\"db\""), 1u);
    EXPECT_LT(picture.size(), 12000u);
    EXPECT_EQ(count(svg({"--from", "100", "--to", "150"}), "class=\"dl\""), 0u);
}

TEST(FitText, keepsWhatTellsMost)
{
    struct Case
    {
        const char* text;
        TextForm form;
        std::size_t room;
        const char* shown;
    };
    const Case cases[] = {{"0000000000001234", TextForm::Digits, 16, "0000000000001234"},
                          {"0000000000001234", TextForm::Digits, 15, "1234"},
                          {"0000000000000000", TextForm::Digits, 1, "0"},
                          {"deadbeef", TextForm::Digits, 5, "dead…"},
                          {"deadbeef", TextForm::Digits, 2, ""},
                          {"0.30000000000000004", TextForm::Real, 18, "0.3"},
                          {"0.30000000000000004", TextForm::Real, 2, ".3"},
                          {"0.30000000000000004", TextForm::Real, 1, ""},
                          {"1.2e+20", TextForm::Real, 6, "1.2e20"},
                          {"1.234e-07", TextForm::Real, 7, "1.23e-7"},
                          {"\"日本語\"", TextForm::Plain, 6, "\"日本…"}};
    for (const Case& c : cases) {
        LaneSegment segment;
        segment.text = c.text;
        segment.form = c.form;
        segment.number = std::strtod(c.text, nullptr);
        EXPECT_EQ(fitText(segment, c.room), c.shown) << c.text << " in " << c.room;
    }
}

TEST_F(Draw, curveKeepsTheExtremesBetweenItsLimits)
{
    RecordingBuilder builder(path(), kLooks);
    for (int time = 0; time < 100000; ++time) {
        builder.real(time, "a&b.r", time == 70001 ? 7.5 : time % 2 ? -1 : 1);
    }
    builder.letters(100000, "a&b.s", "1");
    builder.close();
    for (const char* curve : {"analog", "analog-line"}) {
        const std::string picture = svg({"a&b.r", "--radix", "a&b.r=" + std::string(curve)});
        EXPECT_EQ(count(picture, "class=\"cu\""), 1u);
        EXPECT_THAT(picture, AllOf(HasSubstr(">7.5</text>"), HasSubstr(">-1</text>")));
        expectWellFormed(picture);
    }
    EXPECT_THAT(
        output("draw", {"a&b.r", "--radix", "analog", "--from", "70000", "--to", "70003"}),
        AllOf(HasSubstr("█"), HasSubstr("▁"), HasSubstr("r     7.5 "), HasSubstr("\n        1 ")));
    // A constant has its number beside its line.
    EXPECT_EQ(count(svg({"a&b.r", "--radix", "analog", "--from", "4", "--to", "4"}), "\"limit\""),
              1u);
}

TEST(CurveLimits, differAndFitTheirRoom)
{
    const auto limits = [](double lowest, double highest) {
        Lane lane;
        lane.signal.curve = Curve::Steps;
        lane.segments.resize(1);
        lane.segments[0].look = Look::Bus;
        lane.segments[0].lowest = lowest;
        lane.segments[0].highest = highest;
        const CurveLimits both = limitsOf(lane, 7);
        return both.lowest + "|" + both.highest;
    };
    EXPECT_EQ(limits(-1 / 3.0, 1e100 / 3), "-0.3333|3.33e99");
    EXPECT_EQ(limits(1 / 3.0, 1 / 3.0 + 1e-12), "0.33333|+1e-12");
    EXPECT_EQ(limits(3.25, 3.25), "3.25|");
}

TEST_F(Draw, outputIsWhatItsSuffixSays)
{
    record();
    for (const char* name : {"a.jpg", "a.ghw", "a.svgz"}) {
        EXPECT_THAT(run({"draw", path(), "-o", path(name)}).error, HasSubstr("cannot write "));
        EXPECT_THAT(run({"export", path(), path(name)}).error, HasSubstr("ends in .vcd"));
        EXPECT_EQ(read(name), "");
    }
    const Result png = run({"draw", path(), "-o", path("a.PNG")});
    if (png.error.find("librsvg") != std::string::npos) {
        GTEST_SKIP() << png.error;
    }
    EXPECT_EQ(read("a.PNG").substr(0, 4), "\x89PNG");
    EXPECT_EQ(run({"draw", path(), "-o", path("a.pdf")}).code, 0);
    EXPECT_EQ(read("a.pdf").substr(0, 5), "%PDF-");
}

TEST_F(Draw, whatIsNotThereIsSaid)
{
    record();
    const Result nowhere = run({"draw", path(), "@99999"});
    EXPECT_EQ(nowhere.code, 1);
    EXPECT_THAT(nowhere.error, HasSubstr("nothing was recorded at @99999"));
    for (const char* from : {"1s", "9223372036854775807"}) {
        const Result behind = run({"draw", path(), "--from", from, "-o", path("out.svg")});
        EXPECT_EQ(behind.code, 1);
        EXPECT_THAT(behind.error, HasSubstr("the recording ends at 100 ns"));
    }
    RecordingBuilder(path(), "$timescale 1 ns $end\n$enddefinitions $end\n").close();
    const Result nothing = run({"draw", path()});
    EXPECT_EQ(nothing.code, 1);
    EXPECT_THAT(nothing.error, HasSubstr("run.wdb: there is nothing to draw"));
}

TEST_F(Draw, manySignalsAreCutToALimitThatIsTold)
{
    std::string design;
    for (int i = 0; i < 60; ++i) {
        const std::string number = std::to_string(i);
        design += "$var wire 1 s" + number + " s" + number + " $end\n";
    }
    RecordingBuilder builder(path(), design + "$enddefinitions $end\n");
    builder.letters(1, "s0", "1");
    builder.close();
    EXPECT_EQ(count(svg(), "<g transform"), 40u);
    EXPECT_THAT(svg(), HasSubstr("The first 40 of 60 signals"));
    EXPECT_EQ(count(svg({"s*"}), "<g transform"), 60u);
    EXPECT_THAT(output("draw"), HasSubstr("The first 40 of 60 signals"));
}

TEST_F(Draw, terminalPictureLinesUpWithItsRuler)
{
    RecordingBuilder builder(path(), kSmallDesign);
    for (int time = 0; time < 100; time += 10) {
        builder.letters(time, "top.clk", time % 20 ? "1" : "0");
    }
    builder.letters(0, "top.dut.data[7:0]", "xxxxxxxx");
    builder.letters(30, "top.dut.data[7:0]", "10100101");
    builder.letters(60, "top.dut.data[7:0]", "zzzzzzzz");
    builder.fire(50, "top.tick");
    builder.letters(0, "top.dut.same", "x");
    builder.letters(80, "top.dut.same", "1");
    builder.letters(100, "top.clk", "0");
    builder.close();
    EXPECT_EQ("\n" + output("draw", {"top.clk", "top.tick", "top.dut.data", "top.dut.same",
                                     "--width", "64"}),
              R"(
          0 ns                       50 ns
top       ┬──────────────────────────┬──────────────────────────
clk            ┌────┐     ┌────┐     ┌────┐    ┌─────┐    ┌─────
          ─────┘    └─────┘    └─────┘    └────┘     └────┘
tick                                 ↑
                                     │
dut ┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈
data[7:0] │xx░░░░░░░░░░░░░│a5             z
          └───────────────┴───────────────╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌
same      x░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░───────────
          ░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░
same#2

)");
}

TEST_F(Draw, unfinishedPictureIsNotLeftBehind)
{
    record();
    const Result result = run({"draw", path(), "-o", path("no/such/place.svg")});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.error, HasSubstr("no/such/place.svg: cannot be created"));
    EXPECT_EQ(run({"draw", path(), "-o", path()}).code, 1);
    EXPECT_EQ(run({"verify", path()}).code, 0);
    if (FILE* full = std::fopen("/dev/full", "w")) {
        std::fclose(full);
        EXPECT_THAT(run({"draw", path(), "-o", "/dev/full"}).error, HasSubstr("make room"));
    }
    EXPECT_THAT(output("draw", {"-o", "-"}), HasSubstr("<svg"));
}

TEST(TimeRuler, putsRoundTimesWhereTheyBelongAndApart)
{
    const unsigned int seed = 9;
    SCOPED_TRACE(seed);
    std::mt19937_64 random(Tracewell::seeded(seed));
    for (int i = 0; i < 2000; ++i) {
        const unsigned long long factors[] = {1, 10, 100, 244};
        const TimeText text =
            i % 7
                ? TimeText(Timescale{factors[random() % 4], -static_cast<int>(random() % 16), true})
                : TimeText();
        TimeWindow window;
        window.from = static_cast<long long>(random() >> 2 >> random() % 62);
        window.to = window.from + 1 + static_cast<long long>(random() >> 2 >> random() % 62);
        const double width = 100 + static_cast<double>(random() % 2000);
        const std::vector<RulerTick> ticks = makeRuler(window, text, width, 6);
        ASSERT_LE(ticks.size(), 20 + static_cast<std::size_t>(width / 6));
        const double span = static_cast<double>(window.to - window.from);
        double end = -1000;
        for (const RulerTick& tick : ticks) {
            ASSERT_GE(tick.position, 0);
            ASSERT_LE(tick.position, 1);
            if (tick.label.empty()) {
                continue;
            }
            const double place = tick.position * width;
            ASSERT_GT(place, end);
            end = place + 6 * static_cast<double>(tick.label.size());
            const auto time = static_cast<double>(text.parse("--to", tick.label, Rounding::Down));
            ASSERT_NEAR(time, static_cast<double>(window.from) + tick.position * span,
                        1 + 1e-6 * static_cast<double>(window.to))
                << tick.label;
        }
    }
    EXPECT_EQ(makeRuler({0, 1000, 0}, TimeText(Timescale{1, -9, true}), 1000, 6)[10].label,
              "0.2 us");
}
