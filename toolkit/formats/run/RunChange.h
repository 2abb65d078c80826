// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>
#include <string_view>

namespace tracewell {

/// One step through the value changes of a run, in whatever format it lies.
struct RunChange
{
    enum class Kind {
        Time,    ///< `time` has come
        Letter,  ///< `object` took the one letter with code `letter`
        Letters, ///< `object` took the letters of `text`, unchecked
        Real,    ///< the number of `text`, unchecked
        Number,  ///< `object`, of kind kReal, took `number`
        Text,    ///< `text` as it is
        Port     ///< states and both strengths of an extended VCD: "DDUU 66 00"
    };

    Kind kind = Kind::Time;
    std::uint8_t letter = 0;
    std::uint32_t object = 0;
    long long time = 0;
    double number = 0;
    std::string_view text;
};

} // namespace tracewell
