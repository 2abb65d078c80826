// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace Tracewell {

using Bytes = std::vector<unsigned char>;

template <class Record> void appendRecord(Bytes& bytes, const Record& record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    const auto* const begin = reinterpret_cast<const unsigned char*>(&record);
    bytes.insert(bytes.end(), begin, begin + sizeof record);
}

/// Seven bits a byte, the lowest first; the highest bit says that more follow.
inline void appendNumber(Bytes& bytes, std::uint64_t number)
{
    for (; number >= 0x80; number >>= 7) {
        bytes.push_back(static_cast<unsigned char>(number | 0x80));
    }
    bytes.push_back(static_cast<unsigned char>(number));
}

/// Goes through bytes that nobody vouches for. What is not there is 0, and said by isGood().
class ByteWalk
{
public:
    ByteWalk(const unsigned char* begin, std::size_t size) : m_at(begin), m_end(begin + size) {}

    bool isGood() const { return m_isGood; }
    bool isAtEnd() const { return m_at == m_end; }
    std::size_t left() const { return static_cast<std::size_t>(m_end - m_at); }

    std::uint64_t number()
    {
        std::uint64_t number = 0;
        for (unsigned int shift = 0; shift < 64 && m_at != m_end; shift += 7) {
            const unsigned char byte = *m_at++;
            number |= std::uint64_t{byte & 0x7Fu} << shift;
            if (byte < 0x80) {
                return number;
            }
        }
        m_isGood = false;
        return 0;
    }
    template <class Record> void read(Record& record)
    {
        static_assert(std::is_trivially_copyable_v<Record>);
        if (left() < sizeof record) {
            m_isGood = false;
            record = Record();
            return;
        }
        std::memcpy(&record, m_at, sizeof record);
        m_at += sizeof record;
    }

private:
    const unsigned char* m_at;
    const unsigned char* m_end;
    bool m_isGood = true;
};

} // namespace Tracewell
