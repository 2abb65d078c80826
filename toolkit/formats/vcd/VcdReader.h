// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/run/RunChange.h"
#include "formats/vcd/VcdCodes.h"
#include "formats/vcd/VcdInput.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tracewell {

/// What a lenient reading met that a strict one refuses.
struct Oddities
{
    unsigned long long timesBack = 0;
    unsigned long long undeclared = 0;
    unsigned long long noChanges = 0;
    /// Line of the first of them.
    unsigned long long firstLine = 0;

    /// How many of each, and what was done with them: one line, empty when there were none.
    std::string describe() const;
};

/// Walks the value changes behind the declarations. Changes before the first time belong to time 0,
/// which has been when the first change is given.
class VcdReader
{
public:
    /// Times are multiplied by ten to the power of `fractionDigits`. A lenient reading takes times
    /// that go back for the last time, and leaves out values of codes that nobody declared and
    /// words that are no change.
    VcdReader(VcdInput& input, const std::vector<Object>& objects, int fractionDigits,
              bool isLenient)
        : m_input(input), m_codes(objects), m_fractionDigits(fractionDigits), m_isLenient(isLenient)
    {}

    /// The next step; false at the end. The text of `change` is valid until the next call.
    /// \throws Failure for anything that has no sensible meaning.
    bool next(RunChange& change);

    /// After the end: whether the last change was cut off, and so left out.
    bool isCutOff() const { return m_cutOff; }
    /// What it was cut off inside: a value change, or a section.
    std::string cutPlace() const
    {
        return m_cutKeyword.empty() ? "a value change" : "a " + m_cutKeyword + " section";
    }
    /// Decimals that the times so far have, at least; those beyond the fraction digits asked for
    /// were dropped.
    int neededFractionDigits() const { return m_neededDigits; }
    const Oddities& oddities() const { return m_oddities; }
    /// Ends the command: the change last given cannot be used.
    [[noreturn]] void refuse(const std::string& why) const { m_input.fail(why); }
    /// The same for one whose value makes no sense, unless the reading is lenient.
    void refuseValue(const std::string& why) { refuseOddity(&Oddities::noChanges, why); }

private:
    enum class Step { Given, Skipped, End };

    Step readKeyword(std::string_view keyword);
    Step readTime(std::string_view word, RunChange& change);
    Step readValue(std::string_view word, RunChange& change);
    Step readText(std::string_view word, RunChange& change);
    Step readPort(std::string_view word, RunChange& change);
    /// `isApart` says that the code is a word of its own.
    Step setObject(std::string_view code, RunChange& change, bool isApart = false)
    {
        change.object = m_codes.find(code);
        return change.object != kNoObject ? Step::Given : endWithoutObject(code, isApart);
    }
    /// Whether the last word is a code, or what a cut may have left of one.
    bool mayBeCode(std::string_view word) const
    {
        return word.empty() || m_codes.find(word) != kNoObject ||
               (m_input.endsWithWord() && m_codes.isStartOfCode(word));
    }
    Step endWithoutObject(std::string_view code, bool isApart);
    Step endInside();
    /// False for what is no time, and left out.
    bool parseTime(std::string_view text, long long& time);
    /// Counts it, or ends the command.
    Step refuseOddity(unsigned long long Oddities::*count, const std::string& why);

    VcdInput& m_input;
    VcdCodes m_codes;
    int m_fractionDigits;
    bool m_isLenient;
    Oddities m_oddities;
    int m_neededDigits = 0;
    long long m_time = 0;
    bool m_cutOff = false;
    std::string m_cutKeyword;
    std::string m_scratch;
};

} // namespace tracewell
