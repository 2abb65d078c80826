// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/EventTestData.h"

#include "WdbAddressBTreeManager.h"
#include "WdbScalarBTree.h"

#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace Tracewell {

/// A number from 0 to `count` - 1.
template <class Random> int pick(Random& random, unsigned int count)
{
    return static_cast<int>(random() % count);
}

/// Times and bytes.
using History = std::vector<std::pair<long long, int>>;

/// All events of a tree.
inline History getHistory(const WdbScalarBTree& tree)
{
    constexpr long long kEndOfTime = std::numeric_limits<long long>::max();
    History history;
    const std::unique_ptr<WdbScalarBTree::Iterator> event(tree.find(0, 0, kEndOfTime, -1));
    for (; *event; ++*event) {
        history.emplace_back(event->getTime(), (**event).getValue());
    }
    return history;
}

} // namespace Tracewell
