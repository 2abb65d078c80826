// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/PrivateDirectory.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// A run in a format of others as a recording in columns, in the place for temporary files. What it
/// takes is about a tenth of a VCD. Who has opened the file can do without the object.
class TemporaryRecording
{
public:
    /// Reads all of `input`.
    /// \throws Failure
    explicit TemporaryRecording(const std::string& input);

    /// Where it lies.
    const std::string& path() const { return m_path; }
    /// As of Shortfalls: what was missing in the input, and what a user should know of it.
    const std::vector<std::string>& shortfalls() const { return m_shortfalls; }
    const std::vector<std::string>& notices() const { return m_notices; }

private:
    std::optional<int> attempt(const std::string& input, int fractionDigits,
                               const std::function<void()>& check);

    PrivateDirectory m_directory;
    std::string m_path;
    std::vector<std::string> m_shortfalls;
    std::vector<std::string> m_notices;
};

} // namespace tracewell
