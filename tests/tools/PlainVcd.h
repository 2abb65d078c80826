// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <utility>
#include <vector>

/// What a VCD says, in a form in which two of them can be compared. Read by a reader of its own
/// that shares nothing with the program under test.
struct PlainVcd
{
    using History = std::vector<std::pair<long long, std::string>>;

    struct Variable
    {
        /// "wire 8 top. dut. data [7:0]"
        std::string declaration;
        /// The last value of each time at which it differs from the one before; for an event,
        /// every time at which it fired, and how often.
        History history;
    };

    std::string timescale;
    std::vector<Variable> variables;
    long long lastTime = 0;
};

PlainVcd readPlainVcd(const std::string& path);

/// Empty when both say the same; otherwise the first difference.
std::string differenceOf(const PlainVcd& a, const PlainVcd& b);
