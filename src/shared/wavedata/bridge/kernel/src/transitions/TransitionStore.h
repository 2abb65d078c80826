// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBase.h"
#include "InitialValueTable.h"
#include "NodeTree.h"
#include "PageTable.h"
#include "ThreadSafety.h"
#include "TransitionBlockStore.h"
#include "WdbDamageLog.h"

#include <array>
#include <atomic>
#include <functional>

namespace Tracewell {

/// What capture, queries and channel of one DataBase share.
///
/// Locks, in the order in which they are taken: stripe of an id (the storing thread alone takes a
/// second one, to evict another object's buffer), then the mutexes of the tree and of the blocks,
/// which nobody holds at once. Only a StoringReader's storing thread and the queries take stripes.
struct TransitionStore
{
    TransitionStore(DataBaseMode databaseMode, const std::string& fileName,
                    const DataBaseLimits& limits, std::function<void()> onLimit);

    /// Guards the slot, the open buffer, the tree and the initial value of its ids.
    Mutex& stripe(std::uint32_t id) { return m_stripes[id & 63]; }

    const DataBaseMode mode;
    std::atomic<long long> latestTime{0};
    /// The last id that came with a negative time.
    std::atomic<std::uint32_t> lastNegativeTimeId{0};
    std::atomic<bool> tracingStopped{false};
    std::atomic<std::uint32_t> maxTraceableSize{0xFFFFFFFF};

    WdbDamageLog damage;
    PageTable pages;
    /// Null in a Feeder, which keeps no values.
    std::unique_ptr<InitialValueTable> initialValues;
    NodeTree tree;
    TransitionBlockStore blocks;

private:
    std::array<Mutex, 64> m_stripes;
};

} // namespace Tracewell
