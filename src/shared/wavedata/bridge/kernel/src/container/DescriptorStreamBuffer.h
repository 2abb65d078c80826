// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "platform/DescriptorFile.h"

#include <istream>
#include <streambuf>
#include <string>

namespace Tracewell {

/// A stream buffer over a descriptor that buffers nothing: a write has reached the operating
/// system, and so every other process, when it returns, and writes arrive in the order of the
/// calls. Get and put positions are separate, so a seek relative to the current position names one
/// of them; no seek is a system call, except to the end of a file opened for reading, which others
/// may be extending.
///
/// Not for use by several threads at once.
class DescriptorStreamBuffer : public std::streambuf
{
public:
    using Mode = DescriptorFile::Mode;

    /// Closes an open file first. Answers failure, with the cause in errno.
    bool open(const std::string& path, Mode mode);
    bool isOpen() const { return m_file.isOpen(); }
    /// True when nothing was open. The file is closed in any case.
    bool close();

    /// False when the run of bytes does not lie in the file. The length of a file opened for
    /// reading is asked again only when the one last seen is too short.
    bool contains(long long offset, unsigned long long size);
    /// In bytes; 0 when nothing is open.
    long long getLength();

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char* out, std::streamsize size) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
    int_type underflow() override;
    int_type uflow() override;
    int_type pbackfail(int_type character) override;
    int_type overflow(int_type character) override;

private:
    bool fits(long long offset, unsigned long long size) const;
    void refreshLength();
    pos_type seekTo(long long position, std::ios_base::openmode which);

    DescriptorFile m_file;
    bool m_writable = false;
    /// Exact for a file that we write; for one that we read, what was last seen.
    long long m_length = 0;
    long long m_getPosition = 0;
    long long m_putPosition = 0;
};

/// A stream that owns its descriptor buffer.
class DescriptorStream : public std::basic_iostream<char>
{
public:
    DescriptorStream();

    /// Clears the stream's state when it succeeds and leaves it alone when it fails.
    bool open(const std::string& path, DescriptorStreamBuffer::Mode mode);
    bool isOpen() const { return m_buffer.isOpen(); }
    /// Closes the file; the stream's state stays as it is.
    bool close() { return m_buffer.close(); }
    long long getLength() { return m_buffer.getLength(); }

private:
    DescriptorStreamBuffer m_buffer;
};

} // namespace Tracewell
