#pragma once

#include "wave/Shortfalls.h"

#include <CLI/Error.hpp>

namespace tracewell {

/// What every reading command does at its end, when its answer has been given. `path` is the
/// recording as the user named it.
/// \throws CLI::RuntimeError with exit code 1 when the answer lacks something.
inline void finishReading(const std::string& path, const Shortfalls& source)
{
    constexpr int kLacking = 1;
    if (tellShortfalls(path, source)) {
        throw CLI::RuntimeError(kLacking);
    }
}

} // namespace tracewell
