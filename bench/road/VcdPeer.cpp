// SPDX-License-Identifier: BSD-3-Clause

#include "Writers.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>

namespace tracewell::bench {

namespace {

/// Text that goes to a file a good piece at a time.
class TextFile
{
public:
    explicit TextFile(const std::string& path)
        : m_file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)),
          m_buffer(kSize)
    {
        if (m_file < 0) {
            throw std::runtime_error("cannot create " + path);
        }
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() { ::close(m_file); }

    /// Room for `count` characters, at most 256; advance says how many were used.
    char* room(std::size_t count)
    {
        if (m_used + count > kSize) {
            flush();
        }
        return m_buffer.data() + m_used;
    }
    void advance(const char* end) { m_used = static_cast<std::size_t>(end - m_buffer.data()); }

    void write(const std::string& text)
    {
        char* out = room(text.size());
        std::memcpy(out, text.data(), text.size());
        advance(out + text.size());
    }

    void flush()
    {
        std::size_t done = 0;
        while (done < m_used) {
            const ssize_t count = ::write(m_file, m_buffer.data() + done, m_used - done);
            if (count < 0) {
                throw std::runtime_error("cannot write the VCD");
            }
            done += static_cast<std::size_t>(count);
        }
        m_used = 0;
    }

private:
    static constexpr std::size_t kSize = 1 << 18;

    int m_file;
    std::vector<char> m_buffer;
    std::size_t m_used = 0;
};

std::string codeOf(std::uint32_t signal)
{
    constexpr std::uint32_t kFirst = '!';
    constexpr std::uint32_t kLetters = '~' - '!' + 1;
    std::string code;
    do {
        code += static_cast<char>(kFirst + signal % kLetters);
        signal /= kLetters;
    } while (signal != 0);
    return code;
}

std::array<std::array<char, 8>, 256> makeByteTexts()
{
    std::array<std::array<char, 8>, 256> texts{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            texts[byte][7 - bit] = (byte >> bit & 1) != 0 ? '1' : '0';
        }
    }
    return texts;
}

} // namespace

WriteResult writeVcd(const Workload& workload, const std::string& path)
{
    // The rest of a line after the value: a blank for vectors, the code, the line's end.
    struct Tail
    {
        std::array<char, 8> text;
        unsigned int size;
    };
    const Stopwatch watch;
    const auto byteTexts = makeByteTexts();
    std::vector<Tail> tails(workload.signalCount());
    TextFile file(path);
    file.write("$timescale 1 ns $end\n$scope module top $end\n");
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        const bool vector = workload.isVector(signal);
        const std::string code = codeOf(signal);
        file.write("$var wire " + std::to_string(vector ? 32 : 1) + " " + code + " s" +
                   std::to_string(signal) + (vector ? " [31:0] $end\n" : " $end\n"));
        const std::string text = (vector ? " " : "") + code + "\n";
        std::memcpy(tails[signal].text.data(), text.data(), text.size());
        tails[signal].size = static_cast<unsigned int>(text.size());
    }
    file.write("$upscope $end\n$enddefinitions $end\n");

    workload.play(
        [&](long long time) {
            char* out = file.room(24);
            *out++ = '#';
            out = std::to_chars(out, out + 20, time).ptr;
            *out++ = '\n';
            file.advance(out);
        },
        [&](std::uint32_t signal, std::uint32_t value) {
            char* out = file.room(48);
            if (workload.isVector(signal)) {
                *out++ = 'b';
                for (int shift = 24; shift >= 0; shift -= 8) {
                    std::memcpy(out, byteTexts[value >> shift & 0xFF].data(), 8);
                    out += 8;
                }
            } else {
                *out++ = value ? '1' : '0';
            }
            const Tail& tail = tails[signal];
            std::memcpy(out, tail.text.data(), tail.text.size());
            file.advance(out + tail.size);
        });
    file.flush();
    return WriteResult(watch);
}

} // namespace tracewell::bench
