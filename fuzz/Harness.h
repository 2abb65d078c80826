// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What is tried with the bytes of one input. 0 as a rule; what must not be ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// The fuzzer's own change of some bytes, for a LLVMFuzzerCustomMutator that knows a format. Gives
/// the new size, at most `room`.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

/// Ends the process when something that must hold does not; in every build type.
#define FUZZ_REQUIRE(condition)                                                                    \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
