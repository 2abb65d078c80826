// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace tracewell {

/// A data memory of zeros. Pages that are never touched cost nothing, so a table of huge variables
/// that never change costs nothing either.
class DataMemory
{
public:
    /// \throws std::bad_alloc
    explicit DataMemory(long long size)
        : m_bytes(static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(size) + 1, 1)))
    {
        if (!m_bytes) {
            throw std::bad_alloc();
        }
    }

    unsigned char* at(long long address) { return m_bytes.get() + address; }
    const unsigned char* at(long long address) const { return m_bytes.get() + address; }

private:
    struct Free
    {
        void operator()(unsigned char* bytes) const { std::free(bytes); }
    };

    std::unique_ptr<unsigned char[], Free> m_bytes;
};

} // namespace tracewell
