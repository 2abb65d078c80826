// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdReader.h"

#include "text/Message.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";
constexpr long long kLastTime = std::numeric_limits<long long>::max();

/// What stands between two words that follow each other in the buffer.
std::string_view bytesBetween(std::string_view first, std::string_view second)
{
    const char* const start = first.data() + first.size();
    return {start, static_cast<std::size_t>(second.data() - start)};
}

/// value * 10 + digit, or false when that leaves 63 bits.
bool shiftIn(long long& value, int digit)
{
    return !__builtin_mul_overflow(value, 10LL, &value) &&
           !__builtin_add_overflow(value, static_cast<long long>(digit), &value);
}

/// Digits and exponent of "12.5" or "1e3", without zeros at the ends.
bool splitDecimal(std::string_view text, std::string& digits, long long& exponent)
{
    bool any = false;
    bool fraction = false;
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '.' && !fraction) {
            fraction = true;
        } else if (c >= '0' && c <= '9') {
            any = true;
            digits += c;
            exponent -= fraction ? 1 : 0;
        } else {
            break;
        }
    }
    if (at < text.size()) {
        if (text[at] != 'e' && text[at] != 'E') {
            return false;
        }
        text.remove_prefix(at + 1);
        const bool negative = text.substr(0, 1) == "-";
        if (negative || text.substr(0, 1) == "+") {
            text.remove_prefix(1);
        }
        if (text.empty() || text.size() > 4 ||
            text.find_first_not_of("0123456789") != std::string_view::npos) {
            return false;
        }
        const int power = std::stoi(std::string(text));
        exponent += negative ? -power : power;
    }
    while (!digits.empty() && digits.back() == '0') {
        digits.pop_back();
        ++exponent;
    }
    digits.erase(0, digits.find_first_not_of('0'));
    return any;
}

/// Appends "2 values of ..." in the right number.
void appendCount(std::string& out, unsigned long long count, const char* one, const char* many,
                 const char* done)
{
    if (count != 0) {
        out += fmt::format("{}{} {} ({})", out.empty() ? "" : ", ", count, count == 1 ? one : many,
                           done);
    }
}

/// Whether a cut can have left this of a value.
bool startsValue(RunChange::Kind kind, std::string_view word)
{
    if (kind == RunChange::Kind::Real) {
        return std::string_view("0123456789+-.iInN").find(word[0]) != std::string_view::npos;
    }
    return std::all_of(word.begin(), word.end(), [](char c) {
        return c == '_' || c == 'b' || c == 'B' || letterCode(c) != kNoLetter;
    });
}

} // namespace

std::string Oddities::describe() const
{
    std::string kinds;
    appendCount(kinds, timesBack, "time that goes back", "times that go back",
                "taken at the last time");
    appendCount(kinds, undeclared, "value of a code that no $var declares",
                "values of codes that no $var declares", "left out");
    appendCount(kinds, noChanges, "word that is no change", "words that are no change", "left out");
    return kinds.empty()
               ? kinds
               : fmt::format("read with --lenient: {}; the first in line {}", kinds, firstLine);
}

bool VcdReader::next(RunChange& change)
{
    for (;;) {
        std::string_view word = m_input.word();
        if (word.empty()) {
            return false;
        }
        Step step;
        const std::uint8_t letter = letterCode(word[0]);
        if (letter != kNoLetter) {
            change.kind = RunChange::Kind::Letter;
            change.letter = letter;
            word.remove_prefix(1);
            step = word.empty() ? setObject(m_input.word(), change, true) : setObject(word, change);
        } else {
            switch (word[0]) {
            case 'b':
            case 'B':
                change.kind = RunChange::Kind::Letters;
                step = readValue(word, change);
                break;
            case '#':
                step = readTime(word, change);
                break;
            case 'r':
            case 'R':
                change.kind = RunChange::Kind::Real;
                step = readValue(word, change);
                break;
            case 's':
            case 'S':
                step = readText(word, change);
                break;
            case 'p':
            case 'P':
                step = readPort(word, change);
                break;
            case '$':
                step = readKeyword(word);
                break;
            default:
                step = refuseOddity(
                    &Oddities::noChanges,
                    fmt::format("{} is no value change; repair the line", inQuotes(word)));
            }
        }
        if (step != Step::Skipped) {
            return step == Step::Given;
        }
    }
}

VcdReader::Step VcdReader::endWithoutObject(std::string_view code, bool isApart)
{
    if (code.empty() || (m_input.endsWithWord() && m_codes.isStartOfCode(code))) {
        return endInside();
    }
    if (m_isLenient && isApart && m_input.startsLine()) {
        // The next change rather than the code of this one, which stands a line above.
        const bool isFirst = m_oddities.firstLine == 0;
        const Step step = refuseOddity(&Oddities::noChanges, {});
        m_oddities.firstLine -= isFirst ? 1 : 0;
        m_input.putBack();
        return step;
    }
    return refuseOddity(
        &Oddities::undeclared,
        fmt::format("a value for the code {}, which no $var declares; declare it", inQuotes(code)));
}

VcdReader::Step VcdReader::refuseOddity(unsigned long long Oddities::*count, const std::string& why)
{
    if (!m_isLenient) {
        m_input.fail(why + ", or read on with --lenient");
    }
    if (m_oddities.firstLine == 0) {
        m_oddities.firstLine = m_input.line();
    }
    ++(m_oddities.*count);
    return Step::Skipped;
}

VcdReader::Step VcdReader::endInside()
{
    m_cutOff = true;
    return Step::End;
}

/// "b1010 !", also with a blank behind the b; "b !" alone on its line is a value without digits.
VcdReader::Step VcdReader::readValue(std::string_view word, RunChange& change)
{
    word.remove_prefix(1);
    const bool isApart = word.empty();
    if (isApart) {
        word = m_input.word();
        if (word.empty()) {
            return endInside();
        }
    }
    const std::string_view code = m_input.word(&word);
    if (isApart && change.kind == RunChange::Kind::Letters &&
        bytesBetween(word, code).find_first_of("\r\n") != std::string_view::npos &&
        (m_codes.find(word) != kNoObject || !mayBeCode(code))) {
        m_input.returnTo(word);
        change.text = "x";
        return setObject(word, change);
    }
    if (code.empty() && !startsValue(change.kind, word)) {
        return refuseOddity(&Oddities::noChanges,
                            fmt::format("{} is no value; repair the line", inQuotes(word)));
    }
    change.text = word;
    return setObject(code, change, true);
}

/// "sidle !". A text that holds blanks reaches to the code at the end of the line.
VcdReader::Step VcdReader::readText(std::string_view word, RunChange& change)
{
    change.kind = RunChange::Kind::Text;
    const std::string_view code = m_input.word(&word);
    change.object = m_codes.find(code);
    change.text = word.substr(1);
    // Control bytes end a word, but belong to a text.
    const bool isPlain =
        bytesBetween(word, code).find_first_not_of(kBlanks) == std::string_view::npos;
    if (change.object != kNoObject && isPlain) {
        return Step::Given;
    }
    if (code.empty()) {
        return endInside();
    }
    m_scratch = code;
    std::string_view line = m_input.lineFrom(word);
    if (m_input.isShortened() && m_input.endsWithWord()) {
        return endInside();
    }
    line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    const std::size_t codeAt = line.find_last_of(kBlanks) + 1;
    const std::uint32_t last =
        codeAt > 0 && codeAt <= line.size() ? m_codes.find(line.substr(codeAt)) : kNoObject;
    if (last == kNoObject) {
        return setObject(m_scratch, change);
    }
    change.object = last;
    change.text = line.substr(1, codeAt - 1);
    change.text = change.text.substr(0, change.text.find_last_not_of(kBlanks) + 1);
    return Step::Given;
}

/// "pDDUU 66 00 <0".
VcdReader::Step VcdReader::readPort(std::string_view word, RunChange& change)
{
    change.kind = RunChange::Kind::Port;
    m_scratch = word.substr(1);
    for (int blanks = m_scratch.empty() ? -1 : 0; blanks < 2; ++blanks) {
        const std::string_view part = m_input.word();
        if (part.empty()) {
            return endInside();
        }
        m_scratch.append(m_scratch.empty() ? "" : " ").append(part);
    }
    change.text = m_scratch;
    return setObject(m_input.word(), change);
}

VcdReader::Step VcdReader::readTime(std::string_view word, RunChange& change)
{
    word.remove_prefix(1);
    if (word.empty()) {
        word = m_input.word();
        if (word.empty()) {
            return endInside();
        }
    }
    long long time = 0;
    if (!parseTime(word, time)) {
        return Step::Skipped;
    }
    if (time < m_time) {
        if (m_input.endsWithWord()) {
            return endInside();
        }
        return refuseOddity(
            &Oddities::timesBack,
            fmt::format("the time goes back from {} to {}; put the changes in the order of time",
                        m_time, inQuotes(word)));
    }
    m_time = time;
    change.kind = RunChange::Kind::Time;
    change.time = time;
    return Step::Given;
}

bool VcdReader::parseTime(std::string_view text, long long& time)
{
    const bool plain =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (plain && text.size() <= 18 && m_fractionDigits == 0) {
        for (const char c : text) {
            time = time * 10 + (c - '0');
        }
        return true;
    }

    std::string digits;
    long long exponent = 0;
    if (text[0] == '-') {
        refuseOddity(
            &Oddities::timesBack,
            fmt::format("the time {} lies before 0; let the times start at 0", inQuotes(text)));
        return false;
    }
    if (!splitDecimal(text, digits, exponent)) {
        refuseOddity(&Oddities::noChanges,
                     fmt::format("{} is no time; write a number, as in #125", inQuotes(text)));
        return false;
    }
    if (digits.empty()) {
        return true;
    }
    m_neededDigits = static_cast<int>(std::max<long long>(m_neededDigits, -exponent));
    bool fits = true;
    exponent += m_fractionDigits;
    for (std::size_t i = 0; i < digits.size() && fits; ++i) {
        if (static_cast<long long>(digits.size() - i) + exponent > 0) {
            fits = shiftIn(time, digits[i] - '0');
        }
    }
    for (; exponent > 0 && fits; --exponent) {
        fits = shiftIn(time, 0);
    }
    if (!fits) {
        m_input.fail(fmt::format("the time {} lies beyond {}, the last that can be kept{}; dump "
                                 "with a coarser timescale",
                                 inQuotes(text), kLastTime,
                                 m_fractionDigits == 0
                                     ? ""
                                     : fmt::format(" (in units of 1e-{} of the timescale, for the "
                                                   "fractions of other times)",
                                                   m_fractionDigits)));
    }
    return true;
}

VcdReader::Step VcdReader::readKeyword(std::string_view keyword)
{
    // What stands between these and their $end are value changes like others; behind $vcdclose
    // stands a time.
    static constexpr std::string_view kTransparent[] = {
        "$end",       "$dumpvars",     "$dumpall",     "$dumpon",       "$dumpoff",
        "$dumpports", "$dumpportsall", "$dumpportson", "$dumpportsoff", "$vcdclose",
    };
    if (std::find(std::begin(kTransparent), std::end(kTransparent), keyword) !=
        std::end(kTransparent)) {
        return Step::Skipped;
    }
    if (keyword == "$var" || keyword == "$scope" || keyword == "$enddefinitions") {
        m_input.fail(fmt::format("{} among the value changes; a file with several sets of "
                                 "declarations must be taken apart first",
                                 keyword));
    }
    m_scratch = keyword;
    for (;;) {
        const std::string_view word = m_input.word();
        if (word.empty()) {
            m_cutKeyword = m_scratch;
            return endInside();
        }
        if (word == "$end") {
            return Step::Skipped;
        }
    }
}

} // namespace tracewell
