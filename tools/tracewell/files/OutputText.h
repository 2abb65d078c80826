#pragma once

#include <string>

namespace tracewell {

/// A text file being written, or the standard output for "-". Gathers the text, so that the caller
/// appends to text() and calls flushWhenLarge() now and then.
class OutputText
{
public:
    /// Makes the file, or empties the one that is there.
    /// \throws CommandError
    explicit OutputText(const std::string& path);
    OutputText(const OutputText&) = delete;
    OutputText& operator=(const OutputText&) = delete;
    ~OutputText();

    std::string& text() { return m_text; }
    /// True when it wrote.
    bool flushWhenLarge();
    /// Writes the rest and closes. \throws CommandError when anything could not be stored.
    void finish();

private:
    void flush();
    [[noreturn]] void fail(int error) const;

    std::string m_name;
    std::string m_text;
    int m_descriptor;
    bool m_isFile;
};

} // namespace tracewell
