// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell::bench {

/// Measures and prints the road from the trace call in one process to the answer in another.
void printRoad(int rounds, long long events);

} // namespace tracewell::bench
