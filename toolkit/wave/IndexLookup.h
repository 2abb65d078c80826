// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"

#include "WdbMultipleBucketBtreeDatabase.h"

#include <optional>
#include <vector>

namespace Tracewell {
class WdbIBlockManager;
}

namespace tracewell {

/// What an index by time tells of a signal at one time.
struct IndexedState
{
    /// A stored block that holds a part of the state.
    struct Source
    {
        long long offset = 0;
        unsigned int storedSize = 0;
        long long bucket = 0;
        unsigned int events = 0;
        long long firstTime = 0;
        long long lastTime = 0;
    };

    SignalState state;
    /// When the signal, or a part of it, was recorded last by then, anew or with the same value.
    std::optional<long long> recorded;
    /// Sources of bytes, by their offset in the value.
    std::vector<Source> sources;
    Tracewell::WdbEventBtree::SearchCost cost;
};

/// Without a scan. `storage` is what the database lies in.
IndexedState findState(Tracewell::WdbMultipleBucketBtreeDatabase& database,
                       Tracewell::WdbIBlockManager& storage, const Signal& signal, long long time);

} // namespace tracewell
