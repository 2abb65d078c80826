// SPDX-License-Identifier: BSD-3-Clause

#include "input/InputFile.h"

#include "input/Content.h"
#include "input/DescriptorSource.h"
#include "input/UnpackedSource.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace tracewell {

namespace {

/// Reads until the kind of the content is clear. A pipe may give a few bytes and wait then, so
/// nothing is asked for beyond them.
std::string readHead(ByteSource& source, const std::function<void()>& whileWaiting)
{
    std::string head(kContentBytes, '\0');
    std::size_t size = 0;
    for (std::size_t got = 1; got != 0 && size < head.size(); size += got) {
        got = source.read(head.data() + size, head.size() - size, whileWaiting);
        if (contentOf({head.data(), size + got}).kind == Content::Kind::Vcd) {
            size += got;
            break;
        }
    }
    head.resize(size);
    return head;
}

class InputFile : public ByteSource
{
public:
    InputFile(const std::string& path, const std::function<void()>& whileWaiting)
        : m_name(inputName(path)), m_file(path)
    {
        begin(whileWaiting);
    }
    Content::Kind kind() const { return m_kind; }

    std::size_t read(char* to, std::size_t room,
                     const std::function<void()>& whileWaiting) override;
    std::string flaw() const override { return source().flaw(); }
    bool isCutOff() const override { return source().isCutOff(); }
    unsigned long long size() const override { return m_file.size(); }
    unsigned long long position() const override { return m_file.position(); }
    unsigned long long expectedSize() const override { return source().expectedSize(); }
    bool isRepeatable() const override { return m_file.isRepeatable(); }

private:
    void begin(const std::function<void()>& whileWaiting);
    void refuse(const Content& content) const;
    const ByteSource& source() const
    {
        return m_unpacked ? static_cast<const ByteSource&>(*m_unpacked) : m_file;
    }

    std::string m_name;
    DescriptorSource m_file;
    std::optional<UnpackedSource> m_unpacked;
    const Packing* m_packing = nullptr;
    Content::Kind m_kind = Content::Kind::Unknown;
    /// What was read to see what the file is, and how much of it was given.
    std::string m_head;
    std::size_t m_given = 0;
};

std::size_t InputFile::read(char* to, std::size_t room, const std::function<void()>& whileWaiting)
{
    if (m_given < m_head.size()) {
        const std::size_t part = m_head.copy(to, room, m_given);
        m_given += part;
        return part;
    }
    return m_unpacked ? m_unpacked->read(to, room, whileWaiting)
                      : m_file.read(to, room, whileWaiting);
}

void InputFile::begin(const std::function<void()>& whileWaiting)
{
    m_head = readHead(m_file, whileWaiting);
    Content content = contentOf(m_head);
    if (content.kind == Content::Kind::Packed) {
        m_packing = content.packing;
        m_unpacked.emplace(m_file, *m_packing, m_head, m_name);
        m_head = readHead(*m_unpacked, whileWaiting);
        content = contentOf(m_head);
    }
    refuse(content);
    m_kind = content.kind;
}

void InputFile::refuse(const Content& content) const
{
    const std::string why = whyUnreadable(content, m_packing);
    if (!why.empty()) {
        throw Failure(fmt::format("{}: {}", m_name, why));
    }
    if (content.kind == Content::Kind::Events || content.kind == Content::Kind::Transitions ||
        content.kind == Content::Kind::OtherVersion) {
        throw Failure(fmt::format("{}: this is a wave database already; name the "
                                  "file to the commands that read one (tracewell info FILE)",
                                  m_name));
    }
}

} // namespace

std::string inputName(const std::string& path)
{
    return path == "-" ? "standard input" : path;
}

Input openInput(const std::string& path, const std::function<void()>& whileWaiting)
{
    auto file = std::make_unique<InputFile>(path, whileWaiting);
    const Content::Kind kind = file->kind();
    return {std::move(file), kind};
}

std::string unpackedHead(const std::string& path)
{
    try {
        DescriptorSource file(path);
        std::string head = readHead(file, {});
        if (const Packing* const packing = findPacking(head)) {
            UnpackedSource unpacked(file, *packing, head, path);
            return readHead(unpacked, {});
        }
        return head;
    } catch (const Failure&) {
        return {};
    }
}

const Packing* packingOf(const std::string& path)
{
    try {
        DescriptorSource file(path);
        return findPacking(readHead(file, {}));
    } catch (const Failure&) {
        return nullptr;
    }
}

} // namespace tracewell
