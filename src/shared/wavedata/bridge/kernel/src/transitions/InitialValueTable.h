// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Value.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace Tracewell {

class FileIO;

/// The values of single-bit kinds at time 0, one byte an id. An entry is guarded by the stripe of
/// its id; pages are added by one thread.
class InitialValueTable
{
public:
    static constexpr std::uint32_t kPages = 2048;
    static constexpr std::uint32_t kPageSize = 1U << 20;

    InitialValueTable();
    InitialValueTable(const InitialValueTable&) = delete;
    InitialValueTable& operator=(const InitialValueTable&) = delete;
    ~InitialValueTable();

    /// Another kind than ValueBit, ValueVlog and ValueStdLogic only raises the largest id; an id
    /// beyond the last page is not stored.
    void put(std::uint32_t id, ValueType kind, unsigned char value);
    /// False without an entry. `value` is a ValueByte.
    bool get(std::uint32_t id, Value& value) const;
    /// Of the entry, ValueNone without one.
    ValueType kindOf(std::uint32_t id) const { return kindOfByte(byteOf(id)); }
    /// Whether there is an entry of no kind that is ever stored.
    bool isDamaged(std::uint32_t id) const { return byteOf(id) != 0 && kindOf(id) == ValueNone; }
    /// Whether an id of its page was ever stored.
    bool hasPage(std::uint32_t id) const
    {
        return id / kPageSize < kPages && m_pages[id / kPageSize].load(std::memory_order_acquire);
    }
    std::uint32_t getMaxId() const { return m_maxId.load(std::memory_order_relaxed); }
    void clear();

    /// At the position of the file.
    void save(FileIO& file) const;
    /// Reads what save wrote and lies before `end`; false when it is not whole.
    bool load(FileIO& file, long long end);

private:
    static ValueType kindOfByte(unsigned char byte);
    unsigned char byteOf(std::uint32_t id) const;
    unsigned char* pageAt(std::uint32_t index);

    std::array<std::atomic<unsigned char*>, kPages> m_pages{};
    std::atomic<std::uint32_t> m_maxId{0};
};

} // namespace Tracewell
