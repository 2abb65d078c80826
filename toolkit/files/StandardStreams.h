// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <streambuf>
#include <string>

namespace tracewell {

/// To be called before anything else. A standard stream that is closed is opened as one that can
/// be neither read nor written, so that no file of ours ever takes its number and is written to by
/// what was meant for the stream. A write beyond a limit on the size of files fails and does not
/// end the process. What std::cout takes is written at once.
void prepareStandardStreams();

/// Whether a path, as /dev/stdout, leads to a standard stream that was closed then.
bool leadsToClosedStream(const std::string& path);
/// Whether a standard stream, by its descriptor, was closed then.
bool isClosedStream(int stream);
/// What a message says of an input that is such a stream.
constexpr const char* kWhyClosedInput = "the stream is closed; redirect a file to it, or name one";

/// Takes what a stream is given to a descriptor at once: the process may end behind any character.
/// After a failure, errno has the reason.
class DescriptorBuffer : public std::streambuf
{
public:
    explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

private:
    int m_descriptor;
};

/// Writes all of it, to a descriptor that may be told not to block too. Gives 0, or the error.
int writeAll(int descriptor, const char* bytes, std::size_t size);

} // namespace tracewell
