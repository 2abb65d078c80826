// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>

namespace Tracewell {

/// A binary file behind a descriptor that it owns, with 64-bit offsets. Transfers name their place
/// and leave no position behind, so several threads may read at once. Other processes are free to
/// open the file too. Failures are answered, with the cause in errno.
class DescriptorFile
{
public:
    enum class Mode {
        /// Existing file, never written. Does not wait for the other end of a pipe.
        Read,
        /// Read and write; made if missing, emptied if not.
        Create,
        /// Read and write; made for its owner alone. Fails when the name is in use, be it by a
        /// link that leads nowhere.
        CreateExclusive,
        /// Like Create for a file that CreateExclusive made: owner only, not through a link.
        Recreate,
    };

    DescriptorFile() = default;
    DescriptorFile(DescriptorFile&& other) noexcept;
    DescriptorFile& operator=(DescriptorFile&& other) noexcept;
    ~DescriptorFile();

    /// Closes an open file first. A directory does not open.
    bool open(const std::string& path, Mode mode);
    bool isOpen() const { return m_descriptor >= 0; }
    /// True when nothing was open. The file is closed in any case.
    bool close();

    /// The number of bytes transferred; fewer than asked for at the end of the file (errno is then
    /// ENODATA) or when the transfer failed.
    std::size_t readAt(long long offset, char* out, std::size_t size) const;
    /// The number of bytes transferred; fewer than asked for only when the transfer failed.
    std::size_t writeAt(long long offset, const char* data, std::size_t size);
    /// In bytes, asked from the system; -1 when it cannot tell, as for a pipe.
    long long size() const;

private:
    int m_descriptor = -1;
};

} // namespace Tracewell
