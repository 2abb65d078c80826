// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "NodeTree.h"
#include "TransitionBlockStore.h"

namespace Tracewell {

/// Packs open buffers into the blocks of leaves: as they are, or as one period of their deltas
/// where an alternating value comes at gaps that repeat.
class BlockCompressor
{
public:
    explicit BlockCompressor(TransitionBlockStore& blocks) : m_blocks(blocks) {}

    /// Moves what `info` holds into `leaf`, which was made from it. A pattern can leave the last
    /// transitions in the buffer; its count says how many. `gapBefore` is the gap from the last
    /// leaf of the object to this one: a block whose one gap is smaller has to store it.
    void compressAndStoreData(TransVecInfo& info, BTreeElem& leaf, bool noPattern,
                              long long gapBefore);
    void compressAndStoreData(VlogTransVecInfo& info, BTreeElem& leaf, bool noPattern,
                              long long gapBefore);

private:
    bool patternCompression(int period, TransVecInfo& info, BTreeElem& leaf, long long gapBefore);
    bool patternCompression(int period, VlogTransVecInfo& info, BTreeElem& leaf,
                            long long gapBefore);

    TransitionBlockStore& m_blocks;
};

} // namespace Tracewell
