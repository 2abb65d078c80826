// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// The bytes of a GHW file from front to back, with the numbers that it has.
class GhwInput
{
public:
    /// Thrown where the bytes end.
    struct CutOff
    {};

    /// `name` stands for the source in messages. `onRead` is called before every read.
    GhwInput(std::unique_ptr<ByteSource> source, std::string name, std::function<void()> onRead);

    unsigned char byte()
    {
        if (m_at == m_end) {
            fill();
        }
        return m_buffer[m_at++];
    }
    void bytes(void* to, std::size_t size);
    void skip(unsigned long long size);
    /// Four letters, or three and a zero.
    std::string tag();
    /// False at the very end.
    bool hasMore();

    /// In the order of bytes that the header tells.
    void setBigEndian(bool isBig) { m_isBigEndian = isBig; }
    std::uint32_t number32();
    std::int64_t number64();
    double real();

    /// Seven bits a byte, the lowest first, without a sign or with one.
    /// \throws Failure for more than 64 bits.
    std::uint64_t uleb();
    std::int64_t sleb();

    unsigned long long position() const { return m_before + m_at; }
    const std::string& name() const { return m_name; }
    const ByteSource& source() const { return *m_source; }
    [[noreturn]] void fail(const std::string& why) const;

private:
    void fill();

    std::unique_ptr<ByteSource> m_source;
    std::string m_name;
    std::function<void()> m_onRead;
    bool m_isBigEndian = false;
    std::vector<unsigned char> m_buffer;
    std::size_t m_at = 0;
    std::size_t m_end = 0;
    /// Of the file, in front of the buffer.
    unsigned long long m_before = 0;
};

} // namespace tracewell
