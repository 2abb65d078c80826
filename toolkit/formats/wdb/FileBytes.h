// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <type_traits>
#include <vector>

namespace tracewell {

/// A file as bytes at offsets. Its length is that at opening; a file that grows is seen up to
/// there.
class FileBytes
{
public:
    /// \throws Failure
    explicit FileBytes(const std::string& path);
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    ~FileBytes();

    const std::string& path() const { return m_path; }
    long long size() const { return m_size; }

    bool contains(long long offset, unsigned long long size) const
    {
        return offset >= 0 && offset <= m_size &&
               size <= static_cast<unsigned long long>(m_size - offset);
    }

    /// A writer may be at work beside us: takes note of what it added. False when that is nothing.
    bool lookAgain();

    /// False when the file does not hold these bytes.
    /// \throws Failure when the disk cannot be read.
    bool read(long long offset, void* out, unsigned long long size);

    /// Bytes around a place that was read, for small reads of which many follow each other. Only of
    /// a file that nobody writes any more.
    class Window
    {
    public:
        explicit Window(FileBytes& file) : m_file(file) {}
        /// Reads as FileBytes::read() does.
        bool read(long long offset, void* out, unsigned long long size);

    private:
        FileBytes& m_file;
        long long m_start = 0;
        std::vector<char> m_bytes;
    };

    template <class T> bool readRecord(long long offset, T& out)
    {
        static_assert(std::is_trivially_copyable_v<T>);
        return read(offset, &out, sizeof out);
    }

private:
    std::string m_path;
    int m_descriptor;
    long long m_size = -1;
};

} // namespace tracewell
