// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <stdexcept>
#include <string>

namespace tracewell {

/// A failure that ends a command, as a rule with exit code 1. The text is one line: which file,
/// where, why, and what to do.
class Failure : public std::runtime_error
{
public:
    explicit Failure(const std::string& text, int exitCode = 1)
        : std::runtime_error(text), m_exitCode(exitCode)
    {}

    /// Another one than 1 only where 1 is an answer.
    int exitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

/// The command did what could be done, and its output stands; the text says what is missing in it.
class DoneInPart : public Failure
{
public:
    using Failure::Failure;
};

} // namespace tracewell
