// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/OutputFile.h"

#include <string>

namespace tracewell {

/// An output of text or other bytes, or the standard output for "-"; see OutputFile. Gathers the
/// text, so that the caller appends to text() and calls flushWhenLarge() now and then.
class OutputText
{
public:
    /// `input` is what the command reads.
    /// \throws Failure
    explicit OutputText(const std::string& name, const std::string& input = {});
    OutputText(const OutputText&) = delete;
    OutputText& operator=(const OutputText&) = delete;
    ~OutputText();

    std::string& text() { return m_text; }
    /// Writes what has gathered when that is much; true when it wrote.
    bool flushWhenLarge();
    /// Writes the rest and closes; as OutputFile::finish.
    /// \throws Failure when anything could not be stored.
    std::string finish(bool isWhole = true);

private:
    void flush();
    [[noreturn]] void fail(int error) const;

    OutputFile m_file;
    std::string m_text;
    int m_descriptor;
    bool m_isFile;
};

} // namespace tracewell
