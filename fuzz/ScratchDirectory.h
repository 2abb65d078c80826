// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Harness.h"

#include <filesystem>
#include <string>

#include <stdlib.h>

/// A directory that goes with the harness.
class ScratchDirectory
{
public:
    ScratchDirectory() : m_path((std::filesystem::temp_directory_path() / "fuzz-XXXXXX").string())
    {
        FUZZ_REQUIRE(::mkdtemp(m_path.data()));
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(m_path); }

    std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};
