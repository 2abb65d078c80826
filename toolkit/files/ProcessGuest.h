// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell {

/// Called by what stands in a process that belongs to another program, before anything else: from
/// then on no progress is drawn on its terminal, and its signals are left to it. Any thread.
void becomeGuest();
bool isGuest();

} // namespace tracewell
