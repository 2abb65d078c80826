// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// The number by which the system knows this process.
unsigned int getProcessId();

/// Processor time of this process in milliseconds, that in the system for `inSystem` and that
/// outside of it otherwise; 0 when the system does not tell.
long long getProcessTime(bool inSystem);

} // namespace Tracewell
