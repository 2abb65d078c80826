// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <thread>

namespace tracewell {

/// Watches for an end of the process in the middle of a run: exit(), and, where the program leaves
/// them to the system, SIGINT, SIGTERM, SIGHUP and abort(). The process still ends as it would
/// have. One watch a process.
class EndWatch
{
public:
    /// Told once for an end. `ender` is a thread that does not go on before this returns, or none.
    using Close = void (*)(std::thread::id ender);

    /// When all is open. Takes effect until end(); but exit() is watched from the first call on.
    static void begin(Close close);
    static void end();
};

} // namespace tracewell
