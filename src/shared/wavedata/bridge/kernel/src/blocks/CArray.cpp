// SPDX-License-Identifier: BSD-3-Clause

#include "CArray.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace Tracewell {

void CArray::FreeMemory::operator()(unsigned int* data) const
{
    std::free(data);
}

CArray::Data CArray::allocate(unsigned int capacity)
{
    Data data(
        static_cast<unsigned int*>(std::calloc(std::max(capacity, 1u), sizeof(unsigned int))));
    if (!data) {
        throw std::bad_alloc();
    }
    return data;
}

CArray::CArray(unsigned int capacity) : m_capacity(capacity), m_data(allocate(capacity)) {}

CArray::CArray(const CArray& other)
    : m_capacity(other.m_capacity), m_size(other.m_size), m_data(allocate(other.m_capacity))
{
    std::copy_n(other.m_data.get(), m_capacity, m_data.get());
}

CArray::CArray(CArray&& other) noexcept
    : m_capacity(std::exchange(other.m_capacity, 0)), m_size(std::exchange(other.m_size, 0)),
      m_data(std::move(other.m_data))
{}

CArray& CArray::operator=(const CArray& other)
{
    if (this != &other) {
        *this = CArray(other);
    }
    return *this;
}

CArray& CArray::operator=(CArray&& other) noexcept
{
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_size, other.m_size);
    std::swap(m_data, other.m_data);
    return *this;
}

void CArray::reserve(unsigned int capacity)
{
    if (capacity > m_capacity) {
        *this = CArray(capacity);
    }
}

void CArray::grow(unsigned int capacity)
{
    if (capacity <= m_capacity) {
        return;
    }
    CArray larger(capacity);
    std::copy_n(m_data.get(), m_capacity, larger.m_data.get());
    larger.m_size = m_size;
    *this = std::move(larger);
}

void CArray::clear()
{
    std::fill_n(m_data.get(), m_capacity, 0u);
    m_size = 0;
}

} // namespace Tracewell
