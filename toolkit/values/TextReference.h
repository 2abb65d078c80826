// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>

namespace tracewell {

/// A text in the string map. Texts over 1,010 bytes are cut into pieces with consecutive ids.
struct TextReference
{
    std::uint32_t firstId = 0;
    std::uint16_t pieces = 0;
    /// The letter in front of the text in a value change: b (letters of a vector, first the
    /// leftmost), r, s or p. 0 when there is no text.
    std::uint8_t kind = 0;
    std::uint8_t reserved = 0;
};
static_assert(sizeof(TextReference) == 8);

} // namespace tracewell
