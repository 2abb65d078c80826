// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Harness.h"

#include <string>

#include <sys/mman.h>
#include <unistd.h>

/// An input as a file with a path, without a place on a disk.
class MemoryFile
{
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : m_descriptor(memfd_create("input", 0))
    {
        FUZZ_REQUIRE(m_descriptor >= 0);
        for (std::size_t done = 0; done < size;) {
            const ssize_t part = ::write(m_descriptor, data + done, size - done);
            FUZZ_REQUIRE(part > 0);
            done += static_cast<std::size_t>(part);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(m_descriptor); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};
