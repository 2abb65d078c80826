// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace tracewell {

/// Bytes that come one after the other, out of a file or a pipe, packed there or not. One thread.
class ByteSource
{
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// Gives up to `room` bytes, at least one; 0 at the end. `whileWaiting`, if there is one, is
    /// called before each read of the file and several times a second while a pipe is silent; what
    /// it throws leaves read().
    /// \throws Failure when nothing more can be read, or what comes next is damaged.
    virtual std::size_t read(char* to, std::size_t room,
                             const std::function<void()>& whileWaiting) = 0;

    /// What the end left open, in words: the packed bytes end too soon, or others follow that are
    /// not of them. Empty when all is well; known once read() has answered 0.
    virtual std::string flaw() const { return {}; }
    /// Whether the last bytes given may be a part of what was there.
    virtual bool isCutOff() const { return false; }

    /// Bytes of the file, 0 when that is not known before its end.
    virtual unsigned long long size() const = 0;
    /// Bytes of the file that are read; for packed ones it is less than what was given.
    virtual unsigned long long position() const = 0;
    /// Bytes that are to be expected in all, a guess for packed ones; 0 when nothing is known.
    virtual unsigned long long expectedSize() const { return size(); }
    /// A file that can be opened anew and gives the same again.
    virtual bool isRepeatable() const = 0;
};

} // namespace tracewell
