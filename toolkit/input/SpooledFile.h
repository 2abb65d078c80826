// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tracewell {

/// The bytes of an input by their places, for formats that cannot be read from front to back. A
/// file that is not packed is read where it lies; anything else is copied first, to a file in the
/// place for temporary ones that has no name.
class SpooledFile
{
public:
    /// `path` is where `source` came from. `whileReading` is called now and then.
    /// \throws Failure
    SpooledFile(const std::string& path, std::unique_ptr<ByteSource> source,
                const std::function<void()>& whileReading);
    /// Bytes as a temporary file.
    SpooledFile(const unsigned char* bytes, std::size_t size);
    SpooledFile(const SpooledFile&) = delete;
    SpooledFile& operator=(const SpooledFile&) = delete;
    ~SpooledFile();

    unsigned long long size() const { return m_size; }
    /// False when the file has not so many bytes there, or they cannot be read.
    bool read(unsigned long long at, void* to, std::size_t size) const;
    /// What is wrong with the bytes that the input was packed in; empty when all is well.
    const std::string& flaw() const { return m_flaw; }
    bool isRepeatable() const { return m_isRepeatable; }

private:
    void makeTemporary();
    void append(const void* bytes, std::size_t size);

    int m_descriptor = -1;
    unsigned long long m_size = 0;
    std::string m_flaw;
    bool m_isRepeatable = false;
};

} // namespace tracewell
