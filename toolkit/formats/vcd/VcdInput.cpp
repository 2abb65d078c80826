// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdInput.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

constexpr std::size_t kReadSize = 256 * 1024;
/// The longest word: a value of the widest variable has 2^24 letters.
constexpr std::size_t kLongestWord = std::size_t{1} << 25;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool isBlank(char c)
{
    return static_cast<unsigned char>(c - 1) < ' ';
}

} // namespace

VcdInput::VcdInput(std::unique_ptr<ByteSource> source, std::string name)
    : m_name(std::move(name)), m_source(std::move(source)), m_buffer(kReadSize + 1)
{
    m_cursor = m_end = m_wordStart = m_buffer.data();
}

VcdInput::VcdInput(std::string_view text, std::string name)
    : m_name(std::move(name)), m_exhausted(true), m_bytesRead(text.size()),
      m_buffer(text.begin(), text.end())
{
    m_buffer.push_back('\0');
    m_cursor = m_wordStart = m_buffer.data();
    m_end = m_buffer.data() + text.size();
}

bool VcdInput::textToEnd(std::string& text)
{
    text.clear();
    for (;;) {
        const char* p = m_cursor;
        while (isBlank(*p)) {
            ++p;
        }
        if (!text.empty()) {
            text.append(m_cursor, p);
        }
        m_cursor = p;
        if (p == m_end && fill(p)) {
            continue;
        }
        const std::string_view next = word();
        if (next.empty()) {
            return false;
        }
        if (next == "$end") {
            while (!text.empty() && isBlank(text.back())) {
                text.pop_back();
            }
            return true;
        }
        text += next;
    }
}

std::string_view VcdInput::lineFrom(std::string_view first)
{
    const char* start = first.data();
    const char* p = start;
    while (*p != '\n') {
        if (*p != '\0') {
            ++p;
            continue;
        }
        m_wordStart = m_cursor = p;
        if (p != m_end) {
            failOnNul();
        }
        const auto scanned = static_cast<std::size_t>(p - start);
        const bool more = fill(start);
        start = m_buffer.data();
        p = start + scanned;
        if (!more) {
            break;
        }
    }
    m_wordStart = start;
    m_cursor = p;
    return {start, static_cast<std::size_t>(p - start)};
}

bool VcdInput::fill(const char* keep)
{
    char* buffer = m_buffer.data();
    m_linesBefore +=
        static_cast<unsigned long long>(std::count(static_cast<const char*>(buffer), keep, '\n'));
    m_beforeBuffer = keep != buffer ? keep[-1] : m_beforeBuffer;
    const auto kept = static_cast<std::size_t>(m_end - keep);
    std::memmove(buffer, keep, kept);
    if (!m_exhausted && kept + 1 == m_buffer.size()) {
        if (kept >= kLongestWord) {
            m_wordStart = m_cursor = buffer;
            fail(fmt::format("a word of more than {} bytes, longer than any value can be; check "
                             "that this is a VCD",
                             kept));
        }
        m_buffer.resize(2 * m_buffer.size());
        buffer = m_buffer.data();
    }
    m_cursor = m_wordStart = buffer;
    m_end = buffer + kept;
    if (m_exhausted) {
        buffer[kept] = '\0';
        return false;
    }

    const bool first = m_bytesRead == 0;
    std::size_t got = 0;
    do {
        if (m_hook) {
            m_hook();
        }
        const std::size_t part =
            m_source->read(buffer + kept + got, m_buffer.size() - 1 - kept - got, m_hook);
        m_exhausted = part == 0;
        got += part;
    } while (first && !m_exhausted && got < kByteOrderMark.size());
    m_bytesRead += got;
    m_end = buffer + kept + got;
    buffer[kept + got] = '\0';
    if (first) {
        checkStart();
    }
    return got != 0;
}

void VcdInput::checkStart()
{
    const std::string_view start(m_buffer.data(), static_cast<std::size_t>(m_end - m_cursor));
    if (start.find('\0') != std::string_view::npos) {
        failOnNul();
    }
    if (start.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        m_end -= kByteOrderMark.size();
        std::memmove(m_buffer.data(), m_buffer.data() + kByteOrderMark.size(),
                     start.size() - kByteOrderMark.size() + 1);
    }
}

void VcdInput::failOnNul()
{
    const void* nul = std::memchr(m_cursor, 0, static_cast<std::size_t>(m_end - m_cursor));
    m_wordStart = static_cast<const char*>(nul);
    fail("a NUL byte; the file is binary or damaged, not the text of a VCD; name another, or dump "
         "it again");
}

double VcdInput::progress() const
{
    const unsigned long long size = m_source ? m_source->size() : 0;
    return size == 0 ? 0 : static_cast<double>(m_source->position()) / static_cast<double>(size);
}

unsigned long long VcdInput::line() const
{
    return 1 + m_linesBefore +
           static_cast<unsigned long long>(std::count(m_buffer.data(), m_wordStart, '\n'));
}

void VcdInput::fail(const std::string& why) const
{
    throw Failure(fmt::format("{}: line {}: {}", m_name, line(), why));
}

} // namespace tracewell
