// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "values/FourState.h"

#include <cstdint>
#include <string>

namespace tracewell {

/// Takes the value that an object with bits has in a stream, from its lowest bit on; letters of
/// nine states as the nearest of four, and all x where a text stands in place of bits. False, and
/// the bits as they were, without a value so far. `scratch` saves memory from call to call.
bool takeFourState(ChangeStream& changes, std::uint32_t object, FourState& bits,
                   std::string& scratch);

} // namespace tracewell
