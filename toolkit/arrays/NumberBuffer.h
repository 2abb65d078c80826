// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace tracewell {

/// Numbers one behind the other, of which more come. Unlike a vector's, its memory grows in place
/// where it can, and what is not used yet of it is not there yet.
template <typename Number> class NumberBuffer
{
public:
    NumberBuffer() = default;
    NumberBuffer(NumberBuffer&& other) noexcept
        : m_numbers(std::exchange(other.m_numbers, nullptr)),
          m_size(std::exchange(other.m_size, 0)), m_room(std::exchange(other.m_room, 0))
    {}
    NumberBuffer& operator=(NumberBuffer&& other) noexcept
    {
        std::swap(m_numbers, other.m_numbers);
        std::swap(m_size, other.m_size);
        std::swap(m_room, other.m_room);
        return *this;
    }
    ~NumberBuffer() { std::free(m_numbers); }

    std::size_t size() const { return m_size; }
    /// Null for none.
    const Number* data() const { return m_numbers; }
    Number* data() { return m_numbers; }
    Number& back() { return m_numbers[m_size - 1]; }

    void push(Number number)
    {
        if (m_size == m_room) {
            resize(m_room < kFewest ? kFewest : m_room + m_room / 2);
        }
        m_numbers[m_size++] = number;
    }
    /// Room for so many more, which the caller fills.
    Number* extend(std::size_t count)
    {
        while (m_room - m_size < count) {
            resize(m_room < kFewest ? kFewest : m_room + m_room / 2);
        }
        m_size += count;
        return m_numbers + m_size - count;
    }
    void dropLast(std::size_t count) { m_size -= count; }
    /// Gives back what is not used.
    void shrink()
    {
        if (m_size < m_room && m_size > 0) {
            resize(m_size);
        }
    }

private:
    static constexpr std::size_t kFewest = 64;

    void resize(std::size_t room)
    {
        void* const moved = std::realloc(m_numbers, room * sizeof(Number));
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        m_numbers = static_cast<Number*>(moved);
        m_room = room;
    }

    Number* m_numbers = nullptr;
    std::size_t m_size = 0;
    std::size_t m_room = 0;
};

} // namespace tracewell
