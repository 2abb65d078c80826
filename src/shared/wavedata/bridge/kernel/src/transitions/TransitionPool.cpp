// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionPool.h"

#include <algorithm>

namespace Tracewell {

namespace {

constexpr std::size_t kBatchBytes = 1'000'000;
constexpr std::size_t kFirstCount = 2;

std::size_t roundUp(std::size_t size, std::size_t unit)
{
    return (size + unit - 1) / unit * unit;
}

} // namespace

ListNode* TransitionPool::allocate(std::size_t size)
{
    const std::size_t blockSize = roundUp(std::max<std::size_t>(size, 1), 4);
    PoolSizeClass& sizeClass = m_classes[blockSize];
    if (sizeClass.count == 0) {
        sizeClass.blockSize = blockSize;
        grow(sizeClass, kFirstCount);
    } else if (sizeClass.tail->owner && (static_cast<long long>(m_allocatedBytes) < m_limitBytes ||
                                         sizeClass.count < m_minNodesPerClass)) {
        const std::size_t most = std::max<std::size_t>(kBatchBytes / blockSize, 1);
        grow(sizeClass, std::min(sizeClass.count, most));
    }
    ListNode* const node = sizeClass.tail;
    unlink(sizeClass, node);
    pushFront(sizeClass, node);
    return node;
}

void TransitionPool::release(ListNode* node)
{
    node->owner = nullptr;
    unlink(*node->sizeClass, node);
    pushBack(*node->sizeClass, node);
}

void TransitionPool::reset()
{
    for (auto& [size, sizeClass] : m_classes) {
        for (ListNode* node = sizeClass.head; node; node = node->next) {
            node->owner = nullptr;
        }
    }
}

void TransitionPool::grow(PoolSizeClass& sizeClass, std::size_t count)
{
    const std::size_t stride = roundUp(sizeClass.blockSize, sizeof(std::uint64_t));
    // Not initialised, so that only the blocks in use cost memory.
    m_chunks.emplace_back(new std::uint64_t[count * stride / sizeof(std::uint64_t)]);
    m_nodes.push_back(std::make_unique<ListNode[]>(count));
    auto* place = reinterpret_cast<unsigned char*>(m_chunks.back().get());
    for (std::size_t i = 0; i < count; ++i, place += stride) {
        ListNode* const node = &m_nodes.back()[i];
        node->data = reinterpret_cast<std::uint32_t*>(place);
        node->sizeClass = &sizeClass;
        pushBack(sizeClass, node);
    }
    sizeClass.count += count;
    m_allocatedBytes += count * sizeClass.blockSize;
}

void TransitionPool::unlink(PoolSizeClass& sizeClass, ListNode* node)
{
    (node->prev ? node->prev->next : sizeClass.head) = node->next;
    (node->next ? node->next->prev : sizeClass.tail) = node->prev;
}

void TransitionPool::pushFront(PoolSizeClass& sizeClass, ListNode* node)
{
    node->prev = nullptr;
    node->next = sizeClass.head;
    (sizeClass.head ? sizeClass.head->prev : sizeClass.tail) = node;
    sizeClass.head = node;
}

void TransitionPool::pushBack(PoolSizeClass& sizeClass, ListNode* node)
{
    node->next = nullptr;
    node->prev = sizeClass.tail;
    (sizeClass.tail ? sizeClass.tail->next : sizeClass.head) = node;
    sizeClass.tail = node;
}

} // namespace Tracewell
