// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "arrays/NumberBuffer.h"
#include "wave/SignalValues.h"

#include <cstdint>
#include <string>
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
    /// `wordsEach` for an entry, the lowest first; bits that are unknown are 0.
    NumberBuffer<unsigned long long> words;
    /// Of Bits, in the same shape: 1 where a bit is neither 0 nor 1. Of nine states l is 0 and h 1.
    NumberBuffer<unsigned long long> unknown;
    NumberBuffer<double> reals;
    std::vector<std::string> texts;

    std::size_t size() const { return times.size(); }
};

/// Both times are part of the window. Entries in a row with the same value are one, unless each is
/// a firing.
/// \throws Failure, std::bad_alloc
HistoryArrays readHistory(const SignalValues& values, std::size_t signal, long long from,
                          long long to);

} // namespace tracewell
