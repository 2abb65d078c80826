// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {

/// To be called with every descriptor that the system hands out, -1 included, and to be used in its
/// place. It is closed when another program is executed and is none of the three standard ones:
/// where the host was started with one of those closed, the system gives its number to the next
/// file, and what the host then prints would go into that file. -1 on failure, the descriptor being
/// closed; errno is kept of whatever failed.
int ownDescriptor(int descriptor);

} // namespace Tracewell
