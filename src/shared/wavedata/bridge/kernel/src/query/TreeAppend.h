// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbScalarBTree.h"

#include <algorithm>

namespace Tracewell {

/// What a tree stores for a byte of the data memory.
inline unsigned char getTreeValue(const WdbScalarBTree& tree, unsigned char byte)
{
    if (!tree.isBitBTree()) {
        return byte;
    }
    return (tree.getBitMask() & byte) != 0 ? 1 : 0;
}

/// Appends whatever the time is. A time before the tree's last one is taken at the last one: the
/// order in which changes arrive is the order in which the byte took its values, and a tree must
/// not see time run backwards.
inline void appendInOrder(WdbScalarBTree& tree, long long time, unsigned char value)
{
    if (!tree.isEmpty()) {
        time = std::max(time, tree.getLastValueTime());
    }
    tree.addValueWithFilter(time, value);
}

} // namespace Tracewell
