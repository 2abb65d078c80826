// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ValueText.h"
#include "testing/Seed.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace tracewell;

namespace {

const ValueText text([](long long id) {
    static const char* const kTexts[] = {"", "hello", " \"big\"\nworld", "uz1", "0lh", "7.5"};
    return id >= 1 && id <= 5 ? std::string(kTexts[id]) : std::string();
});

Signal signalOf(const ValueKind& valueKind, unsigned int width = 1, const char* kind = "wire",
                Radix radix = Radix::Automatic)
{
    Signal signal;
    signal.valueKind = &valueKind;
    signal.width = width;
    signal.kind = kind;
    signal.isSigned = isSignedKeyword(kind);
    signal.radix = radix;
    return signal;
}

template <class T> SignalState stateOf(const T& value)
{
    SignalState state;
    state.kind = SignalState::Kind::Value;
    state.plain.resize(sizeof value);
    std::memcpy(state.plain.data(), &value, sizeof value);
    return state;
}

SignalState referenceTo(unsigned int id, unsigned short pieces)
{
    return stateOf(TextReference{id, pieces, 's', 0});
}

} // namespace

TEST(ValueText, groupsLettersIntoDigits)
{
    struct Case
    {
        const char* letters;
        Radix radix;
        const char* text;
    };
    const Case cases[] = {{"1xxxx", Radix::Hexadecimal, "1x"},
                          {"xxxxzzzz", Radix::Hexadecimal, "xz"},
                          {"1xzz00z1", Radix::Hexadecimal, "XZ"},
                          {"uuuu----", Radix::Hexadecimal, "u-"},
                          {"hhhhh1l0", Radix::Hexadecimal, "hc"},
                          {"lz00wz00", Radix::Hexadecimal, "ZX"},
                          {"1101", Radix::Octal, "15"},
                          {"xzz1", Radix::Octal, "xZ"},
                          {"10xz", Radix::Binary, "10xz"},
                          {"xxx", Radix::Decimal, "x"},
                          {"0x0", Radix::Decimal, "X"},
                          {"z01", Radix::Decimal, "Z"},
                          {"1111", Radix::Signed, "-1"},
                          {"000100000h0000001x", Radix::Ascii, "\"A?\""},
                          {"0100000100000000", Radix::Ascii, "\"A.\""}};
    for (const Case& c : cases) {
        EXPECT_EQ(ValueText::formatLetters(c.letters, c.radix), c.text) << c.letters;
    }
}

TEST(ValueText, writesDecimalsOfAnyLength)
{
    std::mt19937_64 random(Tracewell::seeded(7));
    for (int i = 0; i < 500; ++i) {
        const unsigned int width = 2 + static_cast<unsigned int>(random() % 63);
        const unsigned long long value = random() & (~0ull >> (64 - width));
        std::string bits;
        for (unsigned int bit = width; bit-- > 0;) {
            bits += value >> bit & 1 ? '1' : '0';
        }
        EXPECT_EQ(ValueText::formatLetters(bits, Radix::Decimal), std::to_string(value));
        const auto asSigned = static_cast<long long>(value << (64 - width)) >> (64 - width);
        EXPECT_EQ(ValueText::formatLetters(bits, Radix::Signed), std::to_string(asSigned));
    }
    EXPECT_EQ(ValueText::formatLetters("1" + std::string(100, '0'), Radix::Decimal),
              "1267650600228229401496703205376");
}

TEST(ValueText, readsVectorsGroupByGroup)
{
    struct Groups
    {
        std::uint32_t a0, b0, a1, b1;
    };
    // Bits 39 to 36 are z x 1 0.
    const SignalState state = stateOf(Groups{0xDEADBEEF, 0, 0x6F, 0xC0});
    EXPECT_EQ(text.format(signalOf(kVector, 40), state), "Xfdeadbeef");
    EXPECT_EQ(text.format(signalOf(kVector, 3, "wire", Radix::Binary), state), "111");
    EXPECT_EQ(text.letters(signalOf(kVector, 40), state).substr(0, 8), "zx101111");
}

TEST(ValueText, choosesTheRadixThatAPersonExpects)
{
    const SignalState minusTwo = stateOf(std::uint64_t{0xFFFFFFFE});
    EXPECT_EQ(text.format(signalOf(kVector, 32, "integer"), minusTwo), "-2");
    EXPECT_EQ(text.format(signalOf(kVector, 32, "parameter"), minusTwo), "-2");
    EXPECT_EQ(text.format(signalOf(kVector, 32, "time"), minusTwo), "4294967294");
    EXPECT_EQ(text.format(signalOf(kVector, 32, "reg"), minusTwo), "fffffffe");
}

TEST(ValueText, writesEveryOtherFormOfValue)
{
    std::string letters;
    for (unsigned char code = 0; code < 10; ++code) {
        letters += text.format(signalOf(kScalar), stateOf(code));
    }
    EXPECT_EQ(letters, "01zxuwlh-x");

    const Signal real = signalOf(kReal);
    EXPECT_EQ(text.format(real, stateOf(0.1)), "0.1");
    EXPECT_EQ(text.format(real, stateOf(-0.0)), "-0");
    EXPECT_EQ(text.format(real, stateOf(0.1 + 0.2)), "0.30000000000000004");
    EXPECT_EQ(text.format(real, stateOf(std::nan(""))), "nan");
    EXPECT_EQ(text.format(real, stateOf(-std::numeric_limits<double>::infinity())), "-inf");

    const Signal string = signalOf(kString);
    EXPECT_EQ(text.format(string, referenceTo(1, 1)), "\"hello\"");
    EXPECT_EQ(text.format(string, referenceTo(1, 2)), "\"hello \\\"big\\\"\\nworld\"");
    EXPECT_EQ(text.format(string, referenceTo(0, 0)), "\"\"");
    EXPECT_EQ(text.format(string, referenceTo(99, 65535)), "?");

    SignalState fired = stateOf(static_cast<unsigned short>(0));
    fired.firings = 1;
    EXPECT_EQ(text.format(signalOf(kEvent), fired), "!");
    fired.firings = 3;
    EXPECT_EQ(text.format(signalOf(kEvent), fired), "!x3");
    EXPECT_EQ(text.format(signalOf(kBytes, 16), stateOf(std::uint16_t{0xA501})), "01a5");

    EXPECT_EQ(text.format(real, SignalState()), "");
    SignalState dense;
    dense.kind = SignalState::Kind::Dense;
    EXPECT_EQ(text.format(real, dense), "~~~~");
}

TEST(ValueText, letsAnOverrideTakeThePlaceOfThePlainValue)
{
    SignalState state = stateOf(std::uint64_t{0});
    const auto with = [&](char kind, unsigned int id) {
        state.override = {id, 1, static_cast<std::uint8_t>(kind), 0};
        return state;
    };
    const Signal bus = signalOf(kVector, 8);
    EXPECT_EQ(text.letters(bus, with('b', 3)), "uuuuuuz1");
    EXPECT_EQ(text.letters(bus, with('b', 4)), "000000lh");
    EXPECT_EQ(text.letters(signalOf(kVector, 2), with('b', 3)), "z1");
    EXPECT_EQ(text.format(bus, with('s', 1)), "\"hello\"");
    EXPECT_EQ(text.format(bus, with('r', 5)), "7.5");
    EXPECT_EQ(text.letters(bus, with('r', 5)), "");
    EXPECT_EQ(text.format(signalOf(kScalar), with('b', 3)), "1");
}
