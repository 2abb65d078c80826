// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "BlockCompressor.h"
#include "HeaderArena.h"
#include "TransitionPool.h"
#include "TransitionStore.h"

namespace Tracewell {

/// Puts transitions into the open buffers, and buffers that are full or evicted into the trees.
/// One thread at a time, in a StoringReader under the stripe of the id.
class TransitionCapture
{
public:
    TransitionCapture(TransitionStore& store, const DataBaseLimits& limits);

    /// What keeps a transition that a peer sent out of the object's history, which rises in time
    /// and has one kind of value; null if nothing does.
    const char* findFault(std::uint32_t id, long long time, ValueType kind) const;
    void saveTransInDB(std::uint32_t id, long long time, const Value& value);
    void saveVhdlStdLogicTransInDB(std::uint32_t id, long long time, char code);
    void saveVlogTransInDB(std::uint32_t id, long long time, char code);

    /// Puts what all buffers hold into the trees.
    void flushBuffers();
    /// Gives every buffer the state of a new one and keeps its memory.
    void resetBuffers();

private:
    bool admit(std::uint32_t id, long long time, bool noteNegative);
    template <ValueType kKind> void savePacked(std::uint32_t id, long long time, unsigned int code);
    template <ValueType kKind>
    void savePackedSlowly(std::uint32_t id, long long time, unsigned int code);
    void saveSlowly(std::uint32_t id, long long time, const Value& value);
    template <typename Info>
    Info* open(HeaderArena<Info>& arena, std::uint32_t id, ValueType kind, std::size_t bytes);
    void takeFirstValue(VlogTransVecInfo& info, long long time);
    void takeFirstValue(TransVecInfo& info, ValueType kind);

    void flush(VlogTransVecInfo& info, bool noPattern);
    void flush(TransVecInfo& info, bool noPattern);
    template <typename Info> void insert(Info& info, BTreeElem& leaf, bool noPattern);
    void emptyBuffer(BufferHeader& header, bool noPattern);

    void widen(VlogTransVecInfo& info);
    void grow(VlogTransVecInfo& info);
    void grow(TransVecInfo& info);
    void replaceBlock(BufferHeader& info, ListNode* node);
    ListNode* takeBlock(std::uint32_t storedId, std::size_t bytes);
    void evict(BufferHeader& header, std::uint32_t storedId);
    void discard(BufferHeader& header);
    void freeHeader(BufferHeader& header);

    TransitionStore& m_store;
    TransitionPool m_bufferPool;
    BlockCompressor m_compressor;
    HeaderArena<TransVecInfo> m_genericHeaders;
    HeaderArena<VlogTransVecInfo> m_packedHeaders;
};

} // namespace Tracewell
