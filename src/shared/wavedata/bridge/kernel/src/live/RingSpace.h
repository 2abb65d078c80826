// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstdint>

namespace Tracewell {

/// The steps by which both rings decide on room. Positions run from 0 to `size` inclusive. While
/// the ring is less than half full anything fits; from there on a piece of `count` bytes is refused
/// exactly when the ring would look less than half full again behind it, which is what happens when
/// it would run over the reader or land on it. So no count of used bytes is kept, and full never
/// looks like empty. `count` is less than half of `size`, the positions are in range.
///
/// A position of the reader that is out of date is safe. It lies behind the true one and not beyond
/// the write position, so by it the ring looks at least as full as it is: what fits by it fits. And
/// the writer cannot pass it unnoticed, because a piece that would reach it is refused: then, and
/// only then, must the reader's position be looked up anew. This holds across an emptying by the
/// reader's side as well: writing begins again at 0, and up to the old position everything is free.
inline bool fitsIntoRing(std::uint32_t size, std::uint32_t write, std::uint32_t read,
                         std::uint32_t count, std::uint32_t& next)
{
    const std::int64_t half = size / 2;
    const std::int64_t sum = std::int64_t{write} + count;
    next = static_cast<std::uint32_t>(sum > size ? sum - size : sum);

    const std::int64_t ahead = std::int64_t{write} - read;
    if (ahead >= 0 ? ahead < half : -ahead > half) {
        return true;
    }
    const std::int64_t aheadThen = std::int64_t{next} - read;
    return !(aheadThen >= 0 ? aheadThen < half : -aheadThen > half);
}

// Index words: the loads and stores order the bytes that they cover.

inline std::uint32_t loadOwnIndex(const std::uint32_t* index)
{
    return __atomic_load_n(index, __ATOMIC_RELAXED);
}

inline std::uint32_t loadPeerIndex(const std::uint32_t* index)
{
    return __atomic_load_n(index, __ATOMIC_ACQUIRE);
}

inline void publishIndex(std::uint32_t* index, std::uint32_t value)
{
    __atomic_store_n(index, value, __ATOMIC_RELEASE);
}

/// Publishes a value unless the index is no longer what it was.
inline bool replaceIndex(std::uint32_t* index, std::uint32_t was, std::uint32_t value)
{
    return __atomic_compare_exchange_n(index, &was, value, false, __ATOMIC_RELEASE,
                                       __ATOMIC_RELAXED);
}

/// Sets two neighbouring words, aligned to 8, to 0 at once: nobody sees one without the other.
inline void clearIndexPair(std::uint32_t* first)
{
    using Pair __attribute__((may_alias)) = std::uint64_t;
    __atomic_store_n(reinterpret_cast<Pair*>(first), 0, __ATOMIC_RELEASE);
}

} // namespace Tracewell
