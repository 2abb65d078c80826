// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "arrays/NumberBuffer.h"
#include "wave/SignalValues.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

/// The history of a signal as arrays: an entry for each time at which it changed.
struct HistoryArrays
{
    enum class Kind {
        Bits,  ///< numbers in `words`, and which of their bits are none in `unknown`
        Real,  ///< `reals`
        Text,  ///< `texts`
        Event, ///< in `words`, how often it fired
        Bytes  ///< in `words`, what lies there, the byte of the lowest address lowest
    };

    Kind kind = Kind::Bits;
    /// Bits of a value, and how many words of 64 it takes.
    unsigned int width = 1;
    unsigned int wordsEach = 1;
    /// Ascending. The first entry is what holds at the start of the window, with that time, if
    /// anything does; without it, the first change.
    NumberBuffer<long long> times;
    /// `wordsEach` for an entry, the lowest first; for bits that are unknown see HistoryOrder.
    NumberBuffer<unsigned long long> words;
    /// Of Bits, in the same shape: 1 where a bit is neither 0 nor 1. Of nine states l is 0 and h 1.
    NumberBuffer<unsigned long long> unknown;
    NumberBuffer<double> reals;
    std::vector<std::string> texts;
    /// Of Bits, where all states were asked for: the entries that have one of nine states which is
    /// none of four, ascending, with the letters of all bits, the leftmost first.
    std::vector<std::pair<std::size_t, std::string>> letters;
    /// It ended because it had as much as was asked for.
    bool isCut = false;

    std::size_t size() const { return times.size(); }
    /// Null for an entry without.
    const std::string* lettersOf(std::size_t entry) const;
    /// Whether an entry has the value that one of another history of the same signal has.
    bool isSame(std::size_t entry, const HistoryArrays& other, std::size_t otherEntry) const;
};

/// What is asked of a history.
struct HistoryOrder
{
    /// Both times are part of the window.
    long long from = 0;
    long long to = 0;
    /// States of bits are told apart: of those that are unknown `words` has 0 for z and 1 for x,
    /// and `letters` has the others. Otherwise z and x are one.
    bool areStatesKept = false;
    /// It ends with so many entries.
    std::size_t most = std::numeric_limits<std::size_t>::max();
    /// Or with so many bytes of texts, but for the first two entries.
    std::size_t mostTextBytes = std::numeric_limits<std::size_t>::max();
};

/// Entries in a row with the same value are one, unless each is a firing.
/// \throws Failure, std::bad_alloc
HistoryArrays readHistory(const SignalValues& values, std::size_t signal,
                          const HistoryOrder& order);

} // namespace tracewell
