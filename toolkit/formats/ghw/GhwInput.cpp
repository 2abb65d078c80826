// SPDX-License-Identifier: BSD-3-Clause

#include "formats/ghw/GhwInput.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tracewell {

namespace {

constexpr std::size_t kBuffer = 64 * 1024;

} // namespace

GhwInput::GhwInput(std::unique_ptr<ByteSource> source, std::string name,
                   std::function<void()> onRead)
    : m_source(std::move(source)), m_name(std::move(name)), m_onRead(std::move(onRead)),
      m_buffer(kBuffer)
{}

void GhwInput::fill()
{
    m_before += m_end;
    m_at = m_end = 0;
    m_end = m_source->read(reinterpret_cast<char*>(m_buffer.data()), m_buffer.size(), m_onRead);
    if (m_end == 0) {
        throw CutOff();
    }
}

bool GhwInput::hasMore()
{
    try {
        if (m_at == m_end) {
            fill();
        }
        return true;
    } catch (const CutOff&) {
        return false;
    }
}

void GhwInput::bytes(void* to, std::size_t size)
{
    auto* place = static_cast<unsigned char*>(to);
    while (size > 0) {
        if (m_at == m_end) {
            fill();
        }
        const std::size_t part = std::min(size, m_end - m_at);
        std::memcpy(place, m_buffer.data() + m_at, part);
        m_at += part;
        place += part;
        size -= part;
    }
}

void GhwInput::skip(unsigned long long size)
{
    while (size > 0) {
        if (m_at == m_end) {
            fill();
        }
        const auto part =
            static_cast<std::size_t>(std::min<unsigned long long>(size, m_end - m_at));
        m_at += part;
        size -= part;
    }
}

std::string GhwInput::tag()
{
    char letters[4];
    bytes(letters, sizeof letters);
    std::string text(letters, sizeof letters);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::uint32_t GhwInput::number32()
{
    unsigned char digits[4];
    bytes(digits, sizeof digits);
    std::uint32_t number = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        number |= std::uint32_t{digits[i]} << (8 * (m_isBigEndian ? 3 - i : i));
    }
    return number;
}

std::int64_t GhwInput::number64()
{
    unsigned char digits[8];
    bytes(digits, sizeof digits);
    std::uint64_t number = 0;
    for (unsigned int i = 0; i < 8; ++i) {
        number |= std::uint64_t{digits[i]} << (8 * (m_isBigEndian ? 7 - i : i));
    }
    return static_cast<std::int64_t>(number);
}

double GhwInput::real()
{
    const std::int64_t bits = number64();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

std::uint64_t GhwInput::uleb()
{
    std::uint64_t number = 0;
    for (unsigned int shift = 0; shift < 64; shift += 7) {
        const unsigned char digit = byte();
        number |= std::uint64_t{digit & 0x7fU} << shift;
        if (digit < 0x80) {
            return number;
        }
    }
    fail("a number without end; the file is damaged, dump it again");
}

std::int64_t GhwInput::sleb()
{
    std::uint64_t number = 0;
    for (unsigned int shift = 0; shift < 64;) {
        const unsigned char digit = byte();
        number |= std::uint64_t{digit & 0x7fU} << shift;
        shift += 7;
        if (digit < 0x80) {
            if ((digit & 0x40) != 0 && shift < 64) {
                number |= ~std::uint64_t{0} << shift;
            }
            return static_cast<std::int64_t>(number);
        }
    }
    fail("a number without end; the file is damaged, dump it again");
}

void GhwInput::fail(const std::string& why) const
{
    throw Failure(fmt::format("{}: byte {}: {}", m_name, position(), why));
}

} // namespace tracewell
