// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// The bytes of a VCD, cut into words: runs of bytes above the blank. Reads ahead in large pieces
/// and keeps a NUL behind the last byte read, so that the scanning loops need one test a byte; a
/// NUL in the input itself is refused.
class VcdInput
{
public:
    /// `name` stands for the source in messages.
    VcdInput(std::unique_ptr<ByteSource> source, std::string name);
    /// A text; it is copied.
    VcdInput(std::string_view text, std::string name);
    VcdInput(const VcdInput&) = delete;
    VcdInput& operator=(const VcdInput&) = delete;

    /// Called before every read and several times a second while a pipe has nothing to give. What
    /// it throws leaves word().
    void setReadHook(std::function<void()> hook) { m_hook = std::move(hook); }

    /// The next word, empty at the end of the input. (A word that a cut may have shortened is
    /// none.) It lies in the buffer until the next call; `kept`, the word before, is carried along
    /// so that both are valid afterwards.
    std::string_view word(std::string_view* kept = nullptr);
    /// Gives the last word back; the next call of word() brings it again.
    void putBack() { m_cursor = m_wordStart; }
    /// Makes `kept`, the word before the last one, the last one again.
    void returnTo(std::string_view kept)
    {
        m_wordStart = kept.data();
        m_cursor = kept.data() + kept.size();
    }
    /// Puts everything up to the next word "$end" into `text` and takes the "$end" as well. Blanks
    /// at both ends are left out. False when the input ends first.
    bool textToEnd(std::string& text);
    /// The text from the start of `first`, one of the last two words, to the end of its line.
    std::string_view lineFrom(std::string_view first);
    /// True when a line end stands before the last word.
    bool startsLine() const
    {
        const char before = m_wordStart != m_buffer.data() ? m_wordStart[-1] : m_beforeBuffer;
        return before == '\n' || before == '\r';
    }
    /// True when the last word reaches the very end of the input, with no blank behind it.
    bool endsWithWord() const { return m_exhausted && m_cursor == m_end; }

    /// At the end: whether the last bytes may be a part of what was there.
    bool isShortened() const { return m_source && m_source->isCutOff(); }

    /// Line of the last word, from 1 on. Counts, so it is for messages.
    unsigned long long line() const;
    const std::string& name() const { return m_name; }
    /// Bytes of the text so far.
    unsigned long long bytesRead() const { return m_bytesRead; }
    /// Bytes of text that are to be expected, 0 when that is not known before the end.
    unsigned long long expectedSize() const { return m_source ? m_source->expectedSize() : 0; }
    /// How much of the file is read, 0 to 1; 0 when that is not known.
    double progress() const;
    /// A file that can be read from its start again.
    bool isRepeatable() const { return m_source && m_source->isRepeatable(); }
    /// At the end: what is wrong with the bytes that hold the text. Empty when all is well.
    std::string flaw() const { return m_source ? m_source->flaw() : std::string(); }

    /// Ends the command with `why` at the last word.
    [[noreturn]] void fail(const std::string& why) const;

private:
    /// Reads more. The bytes from `keep` on move to the start of the buffer; m_end follows. False
    /// at the end of the input.
    bool fill(const char* keep);
    void checkStart();
    [[noreturn]] void failOnNul();

    std::string m_name;
    /// Null for an input that is a text in memory.
    std::unique_ptr<ByteSource> m_source;
    bool m_exhausted = false;
    unsigned long long m_bytesRead = 0;
    unsigned long long m_linesBefore = 0;
    std::function<void()> m_hook;
    /// One byte longer than what can be read into it.
    std::vector<char> m_buffer;
    /// The byte that stood in front of the buffer's first; 0 at the start of the input.
    char m_beforeBuffer = '\0';
    const char* m_cursor;
    const char* m_end;
    const char* m_wordStart;
};

inline std::string_view VcdInput::word(std::string_view* kept)
{
    const char* p = m_cursor;
    const char* start = nullptr;
    for (;;) {
        if (start == nullptr) {
            while (static_cast<unsigned char>(*p - 1) < ' ') {
                ++p;
            }
            start = p;
        }
        while (static_cast<unsigned char>(*p) > ' ') {
            ++p;
        }
        if (*p != '\0') {
            break;
        }
        m_wordStart = start;
        m_cursor = p;
        if (p != m_end) {
            failOnNul();
        }
        // The word may go on behind the bytes at hand.
        const char* keep = kept != nullptr ? kept->data() : start;
        const auto wordAt = static_cast<std::size_t>(start - keep);
        const auto scanned = static_cast<std::size_t>(p - keep);
        const bool more = fill(keep);
        if (kept != nullptr) {
            *kept = {m_buffer.data(), kept->size()};
        }
        start = m_buffer.data() + wordAt;
        p = m_buffer.data() + scanned;
        if (!more) {
            start = isShortened() ? p : start;
            break;
        }
        if (start == p) {
            start = nullptr;
        }
    }
    m_wordStart = start;
    m_cursor = p;
    return {start, static_cast<std::size_t>(p - start)};
}

} // namespace tracewell
