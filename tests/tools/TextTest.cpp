// SPDX-License-Identifier: BSD-3-Clause

#include "files/Output.h"
#include "names/TimeText.h"
#include "testing/Seed.h"
#include "text/Failure.h"
#include "text/Table.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>

using namespace tracewell;

namespace {

constexpr long long kLatest = std::numeric_limits<long long>::max();

TimeText unitOf(unsigned long long factor, int exponent)
{
    return TimeText(Timescale{factor, exponent, true});
}

} // namespace

TEST(TimeText, readsTimesInUnitsOfTheTimescale)
{
    struct Case
    {
        unsigned long long factor;
        int exponent;
        const char* text;
        long long down;
        long long up;
    };
    const Case cases[] = {
        {1, -9, "12.5us", 12500, 12500},
        {1, -9, "12500", 12500, 12500},
        {1, -6, "12.5us", 12, 13},
        {1, -12, "1e3 ns", 1000000, 1000000},
        {10, -9, "25ns", 2, 3},
        {244, -9, "1us", 4, 5},
        {244, -9, "488 ns", 2, 2},
        {1, -15, "9223.372036854775807s", kLatest, kLatest},
        {1, -9, "0.3ps", 0, 1},
        {1, -9, "7.9", 7, 8},
        {1, -9, "1e-400s", 0, 1},
        {1, 0, "0", 0, 0},
        {1, -9, "3µs", 3000, 3000},
        {1, -9, "99999999999999999999999999999999999999999999e-40us", 9999999, 10000000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const TimeText text = unitOf(c.factor, c.exponent);
        ASSERT_TRUE(isTimeArgument(c.text));
        EXPECT_EQ(text.parse("--to", c.text, Rounding::Down), c.down);
        EXPECT_EQ(text.parse("--to", c.text, Rounding::Up), c.up);
    }
    for (const char* bad : {"", "us", "12q", "1.2.3", "-5", "1e", "0x10", "12 us x", "1e+", "."}) {
        EXPECT_FALSE(isTimeArgument(bad)) << bad;
    }
    EXPECT_EQ(TimeText().parse("--to", "17", Rounding::Down), 17);
    EXPECT_THROW(TimeText().parse("--to", "17ns", Rounding::Down), Failure);
    for (const char* late : {"1e30s", "1e300", "9223372036854775808", "9223.372036854775808s"}) {
        EXPECT_THROW(unitOf(1, -15).parse("--to", late, Rounding::Down), Failure) << late;
    }
}

TEST(TimeText, writesTimesExactlyInTheUnitThatReadsBest)
{
    EXPECT_EQ(unitOf(1, -9).format(12500), "12.5 us");
    EXPECT_EQ(unitOf(1, -9).format(0), "0 s");
    EXPECT_EQ(unitOf(244, -9).format(1), "244 ns");
    EXPECT_EQ(unitOf(1, -15).format(kLatest), "9223.372036854775807 s");
    EXPECT_EQ(unitOf(100, 0).format(-3), "-300 s");
    EXPECT_EQ(TimeText().format(42), "42");
}

TEST(TimeText, readsBackWhatItWrites)
{
    std::mt19937_64 random(Tracewell::seeded(20));
    for (int i = 0; i < 2000; ++i) {
        const unsigned long long factors[] = {1, 10, 100, 244};
        const TimeText text = unitOf(factors[random() % 4], -static_cast<int>(random() % 19));
        const auto time = static_cast<long long>(random() >> 1 >> random() % 62);
        const std::string written = text.format(time);
        EXPECT_EQ(text.parse("--to", written, Rounding::Down), time) << written;
        EXPECT_EQ(text.parse("--to", written, Rounding::Up), time) << written;
    }
}

TEST(Utf8, takesOutWhatWouldHarmATerminalOrAnXmlReader)
{
    EXPECT_EQ(printable("Grüße ✓ 𝄞"), "Grüße ✓ 𝄞");
    const std::string r = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"gr\xFC"
         "n",
         "gr" + r + "n"},                    // another encoding
        {"a\x1B[31mb", "a" + r + "[31mb"},   // a control sequence
        {"\xC0\xAF", r + r},                 // overlong
        {"\xED\xA0\x80", r + r + r},         // a surrogate
        {"x\xE2\x82", "x" + r + r},          // cut off
        {"\xF4\x90\x80\x80", r + r + r + r}, // beyond the last character
        {"\xC2\x9B", r + r},                 // a control character of two bytes
        {"\xE2\x80\xAE", r + r + r},         // turns the line round
        {std::string("a\0b", 3), "a" + r + "b"}};
    for (const auto& [bytes, expected] : cases) {
        EXPECT_EQ(printable(bytes), expected);
    }
}

TEST(Utf8, cutsByCharactersAndNotByBytes)
{
    EXPECT_EQ(cutEnd("häßlich", 7) + cutEnd("häßlich", 4) + cutEnd("abc", 1), "häßlichhäß……");
    EXPECT_EQ(cutStart("top.größe", 4) + cutStart("abc", 0), "…öße");
}

TEST(Table, keepsColumnsInLineAndLinesWithoutBlanksAtTheirEnd)
{
    const std::string table = formatTable({{"name"}, {"n", ColumnFormat::Align::Right}, {"v"}},
                                          {{"größe", "7", "x"}, {"a", "123", ""}, {"", "", "y"}});
    EXPECT_EQ(table, "name     n  v\n"
                     "größe    7  x\n"
                     "a      123\n"
                     "            y\n");
}

TEST(Output, quotesForCsvAndJson)
{
    EXPECT_EQ(csvField("plain"), "plain");
    EXPECT_EQ(csvField("a,\"b\"\n"), "\"a,\"\"b\"\"\n\"");
    EXPECT_EQ(csvField(" x"), "\" x\"");
    EXPECT_EQ(jsonString("a\"\n\xFF"), "\"a\\\"\\n\xEF\xBF\xBD\"");
}

TEST(Output, reportsWhatCouldNotBeWritten)
{
    class FullDisk : public std::streambuf
    {
        int_type overflow(int_type) override { return traits_type::eof(); }
    } full;
    std::ostream stream(&full);
    Output small(stream);
    small << "x";
    EXPECT_THROW(small.finish(), Failure);
    stream.clear();
    Output large(stream);
    EXPECT_THROW(large << std::string(1 << 20, 'x'), Failure);
}
