// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace Tracewell {

struct PoolSizeClass;

/// The handle of a block of a TransitionPool.
struct ListNode
{
    ListNode* prev = nullptr;
    ListNode* next = nullptr;
    /// What holds the block; null while it is free. Its kind is the pool user's business.
    void* owner = nullptr;
    /// The words, at an 8-byte border.
    std::uint32_t* data = nullptr;
    PoolSizeClass* sizeClass = nullptr;
};

/// The blocks of one size, most recently allocated first.
struct PoolSizeClass
{
    ListNode* head = nullptr;
    ListNode* tail = nullptr;
    std::size_t count = 0;
    std::size_t blockSize = 0;
};

/// A bounded allocator of blocks grouped by size. Once over its limit it hands out the block of
/// its size that was allocated longest ago, in use or not: whoever allocates must move the data of
/// the owner that it finds in the node before it takes the block. One thread at a time.
class TransitionPool
{
public:
    TransitionPool(long long limitBytes, unsigned int minNodesPerClass)
        : m_limitBytes(limitBytes), m_minNodesPerClass(minNodesPerClass)
    {}
    TransitionPool(const TransitionPool&) = delete;
    TransitionPool& operator=(const TransitionPool&) = delete;

    /// A block of `size` bytes, rounded up to a multiple of 4, with unknown contents. The owner
    /// of the node is not null when the block was in use.
    ListNode* allocate(std::size_t size);
    /// Frees the block; it is the next of its size to be handed out.
    void release(ListNode* node);
    /// Frees all blocks and keeps the memory.
    void reset();

    std::size_t allocatedBytes() const { return m_allocatedBytes; }

private:
    void grow(PoolSizeClass& sizeClass, std::size_t count);
    static void unlink(PoolSizeClass& sizeClass, ListNode* node);
    static void pushFront(PoolSizeClass& sizeClass, ListNode* node);
    static void pushBack(PoolSizeClass& sizeClass, ListNode* node);

    const long long m_limitBytes;
    const unsigned int m_minNodesPerClass;
    std::size_t m_allocatedBytes = 0;
    std::map<std::size_t, PoolSizeClass> m_classes;
    std::vector<std::unique_ptr<std::uint64_t[]>> m_chunks;
    std::vector<std::unique_ptr<ListNode[]>> m_nodes;
};

} // namespace Tracewell
