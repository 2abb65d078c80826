// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string_view>

namespace tracewell {

/// A file of the page, as it lies in the program.
struct PageFile
{
    /// Of the request: "/" for the page itself.
    std::string_view path;
    std::string_view type;
    const unsigned char* bytes;
    std::size_t size;

    std::string_view text() const { return {reinterpret_cast<const char*>(bytes), size}; }
};

/// Null for a path that is none of them.
const PageFile* findPageFile(std::string_view path);

} // namespace tracewell
