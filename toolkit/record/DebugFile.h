// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// The name table of a running simulation, in the debug file of its snapshot. Simulations with the
/// same table share it, and the last one takes it away. Each holds a lock on it for its life, so
/// what a killed one left behind is known for that.
class DebugFile
{
public:
    /// \throws Failure when it cannot be written, or when the snapshot has another table: one
    /// that is in use, or that of another program.
    DebugFile(const std::string& path, std::string_view text);
    DebugFile(const DebugFile&) = delete;
    DebugFile& operator=(const DebugFile&) = delete;
    ~DebugFile();

private:
    bool tryToShare(std::string_view text);
    void write(std::string_view text);
    std::string readAll() const;
    bool isStillNamed() const;
    [[noreturn]] void fail(const std::string& why);

    std::string m_path;
    int m_descriptor = -1;
};

} // namespace tracewell
