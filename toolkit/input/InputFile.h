// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"
#include "input/Content.h"

#include <functional>
#include <memory>
#include <string>

namespace tracewell {

/// "-" is the standard input, for messages as well.
std::string inputName(const std::string& path);

/// A file, a pipe or the standard input that a run is read from, unpacked when it is packed.
/// Whatever it is, it is read once, from front to back.
struct Input
{
    std::unique_ptr<ByteSource> source;
    /// What its first bytes say that it is.
    Content::Kind kind = Content::Kind::Unknown;
};

/// Reads so much that the kind is clear; for `whileWaiting` see ByteSource::read.
/// \throws Failure when it cannot be opened, and by name for what is known and no run.
Input openInput(const std::string& path, const std::function<void()>& whileWaiting = {});

/// The first bytes of what the file at `path` holds, unpacked; few or none when they cannot be had.
std::string unpackedHead(const std::string& path);
/// How the file is packed; null for one that is not, and where nothing can be read.
const Packing* packingOf(const std::string& path);

} // namespace tracewell
