#pragma once

#include "text/Terminal.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace tracewell {

/// A directory in the place for temporary files that goes with its guard.
class PrivateDirectory
{
public:
    PrivateDirectory() : m_path(makePrivateDirectory()) {}
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace tracewell
