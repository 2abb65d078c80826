// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "values/ValueKind.h"

namespace tracewell {

/// One letter of nine: a byte with its code, see kLetters.
extern const ValueKind& kScalar;
/// Several letters: for every 32 bits, bit 0 first, a u32 a-word and a u32 b-word. a + 2 b of a bit
/// is 0, 1, 2 (z) or 3 (x).
extern const ValueKind& kVector;
/// A double, as it lies in memory.
extern const ValueKind& kReal;
/// A text: a TextReference of kind 's'.
extern const ValueKind& kString;
/// A count that goes up by one with each firing, modulo 256, then the code of the letter that came
/// with it.
extern const ValueKind& kEvent;
/// Bytes that were asked for by their address.
extern const ValueKind& kBytes;
/// A transition object by its number: eight bytes, an integer or a double.
extern const ValueKind& kObject;

/// The kind that a declaration's keyword and width ask for.
const ValueKind& declaredKind(std::string_view keyword, unsigned int width);

} // namespace tracewell
