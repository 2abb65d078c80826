#include "vcd/VcdInput.h"

#include "CommandError.h"
#include "files/OwnFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr std::size_t kReadSize = 256 * 1024;
/// The longest word: a value of the widest variable has 2^24 letters.
constexpr std::size_t kLongestWord = std::size_t{1} << 25;
/// How often the read hook runs while a pipe is silent.
constexpr int kPollMilliseconds = 50;
/// Enough bytes to tell the formats apart that are taken for a VCD now and then.
constexpr std::size_t kMagicSize = 6;

bool isBlank(char c)
{
    return static_cast<unsigned char>(c - 1) < ' ';
}

} // namespace

VcdInput::VcdInput(const std::string& path)
    : m_name(path == "-" ? "standard input" : path), m_buffer(kReadSize + 1)
{
    m_descriptor = path == "-" ? STDIN_FILENO : openOwnFile(path, O_RDONLY);
    m_ownsDescriptor = path != "-";
    struct stat status;
    if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0) {
        throw CommandError(fmt::format("{}: cannot be read: {}; check the name and its permissions",
                                       m_name, std::strerror(errno)));
    }
    if (S_ISREG(status.st_mode)) {
        m_size = static_cast<unsigned long long>(status.st_size);
        m_repeatable = m_ownsDescriptor;
    }
    m_cursor = m_end = m_wordStart = m_buffer.data();
}

VcdInput::VcdInput(std::string_view text, std::string name)
    : m_name(std::move(name)), m_exhausted(true), m_size(text.size()), m_bytesRead(text.size()),
      m_buffer(text.begin(), text.end())
{
    m_buffer.push_back('\0');
    m_cursor = m_wordStart = m_buffer.data();
    m_end = m_buffer.data() + text.size();
}

VcdInput::~VcdInput()
{
    if (m_ownsDescriptor && m_descriptor >= 0) {
        ::close(m_descriptor);
    }
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
        const std::size_t part = readSome(buffer + kept + got, m_buffer.size() - 1 - kept - got);
        m_exhausted = part == 0;
        got += part;
    } while (first && !m_exhausted && got < kMagicSize);
    m_bytesRead += got;
    m_end = buffer + kept + got;
    buffer[kept + got] = '\0';
    if (first) {
        checkFormat();
    }
    return got != 0;
}

std::size_t VcdInput::readSome(char* to, std::size_t room)
{
    for (;;) {
        if (m_hook) {
            m_hook();
            pollfd waiting{m_descriptor, POLLIN, 0};
            if (::poll(&waiting, 1, kPollMilliseconds) <= 0) {
                continue;
            }
        }
        const ssize_t got = ::read(m_descriptor, to, room);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw CommandError(fmt::format("{}: cannot be read on: {}; check the disk", m_name,
                                           std::strerror(errno)));
        }
    }
}

void VcdInput::checkFormat()
{
    struct Magic
    {
        std::string_view bytes;
        const char* tool;
    };
    static constexpr Magic kCompressed[] = {
        {{"\x1f\x8b", 2}, "gunzip"},
        {{"BZh", 3}, "bunzip2"},
        {{"\xfd"
          "7zXZ",
          5},
         "unxz"},
        {{"\x28\xb5\x2f\xfd", 4}, "unzstd"},
    };
    const std::string_view start(m_buffer.data(), static_cast<std::size_t>(m_end - m_cursor));
    for (const Magic& magic : kCompressed) {
        if (start.substr(0, magic.bytes.size()) == magic.bytes) {
            fail(fmt::format("the file is compressed; run {} on it first", magic.tool));
        }
    }
    if (start.substr(0, 2) == "\xff\xfe" || start.substr(0, 2) == "\xfe\xff") {
        fail("the text is UTF-16; convert it to UTF-8 first");
    }
    if (start.find('\0') != std::string_view::npos) {
        failOnNul();
    }
    if (start.substr(0, 3) == "\xef\xbb\xbf") {
        m_end -= 3;
        std::memmove(m_buffer.data(), m_buffer.data() + 3, start.size() - 2);
    }
}

void VcdInput::failOnNul()
{
    const void* nul = std::memchr(m_cursor, 0, static_cast<std::size_t>(m_end - m_cursor));
    m_wordStart = static_cast<const char*>(nul);
    fail("a NUL byte; the file is binary or damaged, not the text of a VCD; name another, or dump "
         "it again");
}

unsigned long long VcdInput::line() const
{
    return 1 + m_linesBefore +
           static_cast<unsigned long long>(std::count(m_buffer.data(), m_wordStart, '\n'));
}

void VcdInput::fail(const std::string& why) const
{
    throw CommandError(fmt::format("{}: line {}: {}", m_name, line(), why));
}

std::string inQuotes(std::string_view text)
{
    constexpr std::size_t kShown = 40;
    std::string out = "\"";
    for (const char c : text.substr(0, kShown)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f || c == '"' || c == '\\') {
            out += fmt::format("\\x{:02x}", static_cast<unsigned int>(byte));
        } else {
            out += c;
        }
    }
    return out + (text.size() > kShown ? "...\"" : "\"");
}

} // namespace tracewell
