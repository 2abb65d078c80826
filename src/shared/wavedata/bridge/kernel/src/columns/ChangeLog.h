// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "FieldRuns.h"

#include <memory>

namespace Tracewell {

struct LoggedChange
{
    std::uint32_t field;
    /// Index into the times of the log.
    std::uint32_t time;
    std::uint64_t value;
};

/// Changes in the order in which they came.
struct ChangeLog
{
    // Untouched memory costs nothing.
    std::unique_ptr<LoggedChange[]> changes{new LoggedChange[kMostChanges]};
    std::unique_ptr<long long[]> times{new long long[kMostChanges]};
    std::uint32_t changeCount = 0;
    std::uint32_t timeCount = 0;
    /// Fields that were made since the log began, and the id of the first of them.
    FieldRuns newFields;
    std::uint32_t firstNewField = 0;

    void clear(std::uint32_t fieldCount)
    {
        changeCount = 0;
        timeCount = 0;
        newFields.clear();
        firstNewField = fieldCount;
    }
};

} // namespace Tracewell
