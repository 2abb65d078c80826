// SPDX-License-Identifier: BSD-3-Clause

#include "input/Content.h"

#include "formats/wdb/TransitionHeader.h"

#include "WdbFileHeader.h"

#include <fmt/format.h>

#include <cctype>
#include <cstring>

namespace tracewell {

namespace {

using Kind = Content::Kind;
using namespace std::string_view_literals;

struct ForeignFormat
{
    Kind kind;
    std::string_view start;
    const char* name;
    const char* remedy;
};

/// The first of them that fits.
constexpr ForeignFormat kForeign[] = {
    // Kind and length of the first section.
    {Kind::Fst, "\x00\x00\x00\x00\x00\x00\x00\x01\x49"sv, "an FST file", ""},
    {Kind::Fst, "\xfe\x00\x00\x00"sv, "an FST file", ""},
    {Kind::Ghw, "GHDLwave\n"sv, "a GHW file", ""},
    {Kind::Foreign, "BZh"sv, "a bzip2 file", "unpack it: bunzip2"},
    {Kind::Foreign, "PK\x03\x04"sv, "a zip file", "unpack it: unzip"},
    {Kind::Foreign, "7z\xbc\xaf\x27\x1c"sv, "a 7z file", "unpack it: 7z x"},
    {Kind::Foreign, "\x04\x22\x4d\x18"sv, "an lz4 file", "unpack it: unlz4"},
    {Kind::Foreign, "\xff\xfe"sv, "a text in UTF-16",
     "convert it to UTF-8: iconv -f UTF-16 -t UTF-8"},
    {Kind::Foreign, "\xfe\xff"sv, "a text in UTF-16",
     "convert it to UTF-8: iconv -f UTF-16 -t UTF-8"},
};

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool isVcd(std::string_view head)
{
    if (startsWith(head, "\xef\xbb\xbf")) {
        head.remove_prefix(3);
    }
    const std::size_t start = head.find_first_not_of(" \t\r\n");
    return start != std::string_view::npos && head.size() > start + 1 && head[start] == '$' &&
           std::islower(static_cast<unsigned char>(head[start + 1])) != 0;
}

Kind kindOfDatabase(std::string_view head)
{
    const Tracewell::WdbFileHeader sound;
    const std::string_view version = sound.m_version;
    const std::string_view family = version.substr(0, version.rfind(' '));
    if (Tracewell::WdbFileHeader file; head.size() >= sizeof file) {
        std::memcpy(&file, head.data(), sizeof file);
        if (file.isVersionStringMatched()) {
            return Kind::Events;
        }
    }
    TransitionHeader header{};
    constexpr std::size_t kSignatureSize = sizeof header.first + sizeof header.second;
    if (head.size() >= kSignatureSize) {
        std::memcpy(&header, head.data(), kSignatureSize);
        if (header.isUnfinished() || header.isFinished()) {
            return Kind::Transitions;
        }
    }
    return startsWith(head, family) ? Kind::OtherVersion : Kind::Unknown;
}

} // namespace

Content contentOf(std::string_view head)
{
    Content content;
    if (head.empty()) {
        content.kind = Kind::Empty;
        return content;
    }
    if (isVcd(head)) {
        content.kind = Kind::Vcd;
        content.name = "a VCD";
        return content;
    }
    content.packing = findPacking(head);
    if (content.packing != nullptr) {
        content.kind = Kind::Packed;
        return content;
    }
    for (const ForeignFormat& format : kForeign) {
        if (startsWith(head, format.start)) {
            content.kind = format.kind;
            content.name = format.name;
            content.remedy = format.remedy;
            return content;
        }
    }
    content.kind = kindOfDatabase(head);
    return content;
}

std::string whyUnreadable(const Content& content, const Packing* packing)
{
    const auto inside = [&](std::string_view name, std::string_view remedy) {
        return fmt::format("this is {} packed by {}; unpack it first: {}{}{}", name, packing->name,
                           packing->tool, remedy.empty() ? "" : "; then ", remedy);
    };
    switch (content.kind) {
    case Kind::Foreign:
        return packing != nullptr ? inside(content.name, content.remedy)
                                  : fmt::format("this is {}, which cannot be read as it is; {}",
                                                content.name, content.remedy);
    case Kind::Packed:
        return packing != nullptr ? inside(fmt::format("a {} file", content.packing->name), "")
                                  : std::string();
    case Kind::Events:
    case Kind::Transitions:
    case Kind::OtherVersion:
        return packing != nullptr ? inside("a wave database", "") : std::string();
    case Kind::Empty:
    case Kind::Vcd:
    case Kind::Fst:
    case Kind::Ghw:
    case Kind::Unknown:
        break;
    }
    return {};
}

} // namespace tracewell
