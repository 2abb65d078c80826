// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <memory>

namespace Tracewell {

/// Unsigned numbers with an explicit capacity. push_back and setData do not grow or check. Copies
/// are deep.
class TRACEWELL_API CArray
{
public:
    static constexpr unsigned int kDefaultCapacity = 128;

    CArray() : CArray(kDefaultCapacity) {}
    explicit CArray(unsigned int capacity);
    CArray(const CArray& other);
    CArray(CArray&& other) noexcept;
    CArray& operator=(const CArray& other);
    CArray& operator=(CArray&& other) noexcept;
    ~CArray() = default;

    /// Beyond the capacity: drops the content and allocates `capacity` zeroed entries. Otherwise
    /// nothing happens.
    void reserve(unsigned int capacity);
    /// Raises the capacity at least to `capacity` and keeps the content.
    void grow(unsigned int capacity);
    void push_back(unsigned int value) { m_data[m_size++] = value; }
    /// Zeroes all entries up to the capacity, which stays.
    void clear();
    unsigned int size() const { return m_size; }
    unsigned int capacity() const { return m_capacity; }
    bool empty() const { return m_size == 0; }
    /// The first element; 0 when there is none.
    unsigned int front() const { return m_size == 0 ? 0 : m_data[0]; }
    /// The last element; 0 when there is none.
    unsigned int back() const { return m_size == 0 ? 0 : m_data[m_size - 1]; }
    unsigned int operator[](unsigned int index) const { return m_data[index]; }
    void setData(unsigned int index, unsigned int value) { m_data[index] = value; }
    void setSize(unsigned int size) { m_size = size; }

private:
    struct FreeMemory
    {
        void operator()(unsigned int* data) const;
    };
    // From calloc: entries that are never used need not cost memory.
    using Data = std::unique_ptr<unsigned int[], FreeMemory>;

    static Data allocate(unsigned int capacity);

    unsigned int m_capacity;
    unsigned int m_size = 0;
    Data m_data;
};

} // namespace Tracewell
