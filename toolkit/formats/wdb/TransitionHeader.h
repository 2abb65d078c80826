// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>

namespace tracewell {

/// With what the file of a transition database starts.
struct TransitionHeader
{
    static constexpr std::uint64_t kFirstSignature = 0x3CF4D203EB154205;
    static constexpr std::uint64_t kSecondSignature = 0xABE23F64A2B2F1B7;
    static constexpr std::uint64_t kReserved = ~std::uint64_t{0};

    /// The signature; both words are 0 while the file is not finished.
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t limit;
    // Offsets in the file.
    std::int64_t firstBlock;
    std::int64_t initialValues;
    std::int64_t tree;
    std::uint64_t reserved;
    std::int64_t debugData;
    std::uint64_t reservedAtEnd[10];

    bool isUnfinished() const { return first == 0 && second == 0; }
    bool isFinished() const { return first == kFirstSignature && second == kSecondSignature; }
};

static_assert(sizeof(TransitionHeader) == 144);

} // namespace tracewell
