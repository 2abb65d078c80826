// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>

namespace Tracewell {

// Plain descriptors of binary files, which leave the file open to others. An operation that is
// interrupted goes on.

enum class DescriptorUse {
    /// For reading alone; the file must exist.
    Read,
    /// Made if missing, emptied if not.
    Write,
    /// For reading and writing; made if it is not there.
    ReadWrite,
};

enum class SeekFrom { Start, Position };

/// -1 on failure, and for a directory. A new file belongs to its owner alone.
int openDescriptor(const std::string& path, DescriptorUse use);
bool closeDescriptor(int descriptor);
/// Waits until what was written is on the disk.
bool commitDescriptor(int descriptor);
/// In bytes, -1 on failure.
long long descriptorSize(int descriptor);
/// The new position, -1 on failure.
long long seekDescriptor(int descriptor, long long offset, SeekFrom from);
/// The number of bytes transferred, fewer than asked for at the end of the file or on failure.
std::size_t readDescriptor(int descriptor, void* data, std::size_t size);
std::size_t writeDescriptor(int descriptor, const void* data, std::size_t size);

} // namespace Tracewell
