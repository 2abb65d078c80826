// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/ByteSource.h"
#include "input/Unpacker.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// The bytes that are packed in a file, of all its members.
class UnpackedSource : public ByteSource
{
public:
    /// `head` is what was read of `packed` already; `name` stands for the file in messages.
    UnpackedSource(ByteSource& packed, const Packing& packing, std::string_view head,
                   std::string name);

    std::size_t read(char* to, std::size_t room,
                     const std::function<void()>& whileWaiting) override;
    std::string flaw() const override { return m_flaw; }
    bool isCutOff() const override { return m_isCutOff; }
    unsigned long long size() const override { return m_packed.size(); }
    unsigned long long position() const override { return m_packed.position(); }
    unsigned long long expectedSize() const override;
    bool isRepeatable() const override { return m_packed.isRepeatable(); }

private:
    enum class Where { Inside, Between, AtTheEnd };

    void fetch(const std::function<void()>& whileWaiting);
    void enterMember(const std::function<void()>& whileWaiting);
    unsigned long long offset() const { return m_packed.position() - m_input.size(); }

    ByteSource& m_packed;
    const Packing& m_packing;
    std::string m_name;
    std::unique_ptr<Unpacker> m_unpacker;
    std::vector<char> m_buffer;
    /// What is still to be unpacked of the buffer.
    std::string_view m_input;
    bool m_isExhausted = false;
    Where m_where = Where::Inside;
    std::string m_flaw;
    bool m_isCutOff = false;
};

} // namespace tracewell
