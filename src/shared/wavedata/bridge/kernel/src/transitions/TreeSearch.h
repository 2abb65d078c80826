// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"
#include "Transition.h"
#include "TransitionBlockStore.h"

#include <cstddef>

namespace Tracewell {

// Point queries on the tree of one object, or on a node of it. The stripe of the object is held,
// and no lease on a block.

/// The child of an inner node whose range holds `time`, or one beside the gap where it would lie.
std::size_t findChild(const BTreeElem& node, long long time);

/// The last transition at or before `time`.
Transition getCurrentTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time);
/// The first transition after `time`, which lies before the last time of `elem`.
Transition getNextTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time);
/// The last transition before `time`; with `exactIsNone` none if one lies at `time`.
Transition getPrevTransition(TransitionBlockStore& blocks, BTreeElem& elem, long long time,
                             bool exactIsNone);

} // namespace Tracewell
