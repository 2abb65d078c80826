// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace tracewell {

/// The system's open, with a descriptor that no program executed later gets and that is none of the
/// three standard ones, whose text would go into the file where the host was started without them.
/// -1 with the cause in errno.
int openOwnFile(const std::string& path, int flags, mode_t mode = 0666);

/// The same within a directory that is open.
int openOwnFileAt(int directory, const std::string& name, int flags, mode_t mode = 0666);

/// Makes a pipe of two such descriptors; false with the cause in errno.
bool makeOwnPipe(int (&ends)[2]);

/// Makes the file, or replaces what is in it. 0, or the system's number for what failed.
int writeWholeFile(const std::string& path, std::string_view text);

/// What is in the file; nothing when it cannot be read.
std::string readWholeFile(const std::string& path);

} // namespace tracewell
