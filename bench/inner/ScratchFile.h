// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace tracewell::bench {

/// The name of a file that goes when this does.
class ScratchFile
{
public:
    ScratchFile()
        : m_path((std::filesystem::temp_directory_path() /
                  ("tracewell-inner-" + std::to_string(::getpid()) + ".wdb"))
                     .string())
    {}
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() { ::unlink(m_path.c_str()); }

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace tracewell::bench
