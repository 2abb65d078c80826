// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnFormat.h"
#include "FieldRuns.h"
#include "WdbColumnField.h"

#include <array>
#include <memory>
#include <vector>

namespace Tracewell {

/// The fields of a recording that is being written, by their addresses, with the value that each
/// was given last. They do not overlap, and none crosses a multiple of 8 bytes.
class FieldTable
{
public:
    /// One that starts at an address: its id and size.
    class Entry
    {
    public:
        Entry() = default;
        Entry(std::uint32_t id, unsigned int size) : m_bits((id + 1) << 3 | (size - 1)) {}

        /// Whether a field of that size, from 1 to 8, starts there.
        bool isOf(unsigned int size) const { return m_bits >= 8 && (m_bits & 7) == size - 1; }
        explicit operator bool() const { return m_bits != 0; }
        std::uint32_t id() const { return (m_bits >> 3) - 1; }
        unsigned int size() const { return (m_bits & 7) + 1; }

    private:
        std::uint32_t m_bits = 0;
    };

    /// The pieces of the fields that do not overlap earlier ones.
    void declare(const std::vector<WdbColumnField>& fields);

    /// Of an address from 0 up to kAddressEnd.
    Entry at(long long address) const
    {
        const auto page = static_cast<unsigned long long>(address) / kPageSize;
        return page < m_pages.size() && m_pages[page]
                   ? (*m_pages[page])[static_cast<unsigned long long>(address) % kPageSize]
                   : Entry();
    }
    /// The bytes from `address` on that one field takes or can take, at most `length`, and where
    /// they lie in it. Makes a field of them where there is none; null when there can be no more.
    struct Part
    {
        Entry field;
        unsigned int offset;
        unsigned int length;
    };
    Part findOrAdd(long long address, unsigned int length, bool isCounter = false);

    const FieldRuns& fields() const { return m_fields; }
    std::uint64_t& value(std::uint32_t id) { return m_values[id]; }

private:
    static constexpr std::size_t kPageSize = 4096;
    using Page = std::array<Entry, kPageSize>;

    Entry add(long long address, unsigned int size, bool isCounter);

    std::vector<std::unique_ptr<Page>> m_pages;
    FieldRuns m_fields;
    std::vector<std::uint64_t> m_values;
};

} // namespace Tracewell
