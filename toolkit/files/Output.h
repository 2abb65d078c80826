// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace tracewell {

/// Text on its way to the standard output, gathered so that long answers cost few system calls.
class Output
{
public:
    /// Writes to the standard output.
    Output();
    explicit Output(std::ostream& stream) : m_stream(stream) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    Output& operator<<(std::string_view text)
    {
        m_text += text;
        if (m_text.size() >= kFlushAt) {
            write();
        }
        return *this;
    }

    /// Writes what is left. To be called at the end of every answer.
    /// \throws Failure when something could not be written: a full disk is no success.
    void finish();

private:
    static constexpr std::size_t kFlushAt = 1u << 16;

    void write();
    void check() const;

    std::ostream& m_stream;
    std::string m_text;
};

/// A text as a JSON string, with its quotes.
std::string jsonString(std::string_view text);

/// A field of a CSV line, quoted where it must be.
std::string csvField(std::string_view text);

} // namespace tracewell
