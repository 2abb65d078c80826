// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"

#include <memory>
#include <string>

namespace tracewell {

/// "-" is the standard input, for messages as well.
std::string inputName(const std::string& path);

/// A file, a pipe or the standard input that a text is read from, unpacked when it is packed.
/// Whatever it is, it is read once, from front to back. What is no text and known by its first
/// bytes is refused by name at the first read. \throws Failure when it cannot be opened.
std::unique_ptr<ByteSource> openInput(const std::string& path);

/// The first bytes of what the file at `path` holds, unpacked; few or none when they cannot be had.
std::string unpackedHead(const std::string& path);

} // namespace tracewell
