// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"

#include <string>

namespace tracewell {

/// The bytes of a file, a device or a pipe as they are.
class DescriptorSource : public ByteSource
{
public:
    /// "-" is the standard input.
    /// \throws Failure when it cannot be opened.
    explicit DescriptorSource(const std::string& path);
    ~DescriptorSource() override;

    std::size_t read(char* to, std::size_t room,
                     const std::function<void()>& whileWaiting) override;
    unsigned long long size() const override { return m_size; }
    unsigned long long position() const override { return m_position; }
    bool isRepeatable() const override { return m_isRepeatable; }

private:
    std::string m_name;
    int m_descriptor = -1;
    bool m_ownsDescriptor = false;
    bool m_isRepeatable = false;
    unsigned long long m_size = 0;
    unsigned long long m_position = 0;
};

} // namespace tracewell
