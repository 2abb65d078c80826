// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// A directory in the place for temporary files that goes with its guard. One at a time.
class PrivateDirectory
{
public:
    /// \throws Failure
    PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory() { remove(); }

    const std::string& path() const { return s_path; }

    /// From here on a storage that fails ends the process with a line of ours, and leaves no such
    /// directory. For commands that read: what they write is in it.
    static void watchStorage();

private:
    static void remove();

    static std::string s_path;
};

} // namespace tracewell
