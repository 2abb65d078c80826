#pragma once

namespace Tracewell {

/// The number by which the system knows this process.
unsigned int getProcessId();

} // namespace Tracewell
