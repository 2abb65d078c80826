// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Shortfalls.h"

#include <CLI/Error.hpp>

namespace tracewell {

/// What every reading command does at its end, when its answer has been given. `path` is the
/// recording as the user named it, `ending` what its output's end has to say.
/// \throws CLI::RuntimeError with exit code 1 when the answer lacks something.
inline void finishReading(const std::string& path, const Shortfalls& source,
                          const std::string& ending = {})
{
    constexpr int kLacking = 1;
    if (tellShortfalls(path, source, ending)) {
        throw CLI::RuntimeError(kLacking);
    }
}

} // namespace tracewell
