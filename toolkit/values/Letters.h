// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell {

/// Letters by scalar code: 0 1 Z X U W L H -. A vector's a + 2 b uses the first four.
constexpr char kLetters[] = {'0', '1', 'z', 'x', 'u', 'w', 'l', 'h', '-'};
constexpr unsigned int kLetterCount = 9;

} // namespace tracewell
