// SPDX-License-Identifier: BSD-3-Clause

#include "formats/fst/FstHierarchy.h"

#include "formats/fst/FstKeywords.h"
#include "formats/vcd/VcdDeclarations.h"
#include "text/Failure.h"
#include "values/ValueKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace tracewell {

namespace {

// What an entry begins with; a smaller number is the kind of a variable.
constexpr unsigned char kAttribute = 252;
constexpr unsigned char kAttributeEnd = 253;
constexpr unsigned char kScope = 254;
constexpr unsigned char kScopeEnd = 255;

// Kinds of attributes of the first type.
constexpr unsigned int kMisc = 0;
constexpr unsigned int kComment = 0;
constexpr unsigned int kVariableType = 2;
constexpr unsigned int kEnumeration = 7;

constexpr std::size_t kMostVariables = 200'000'000;

bool isReal(std::string_view keyword)
{
    return &declaredKind(keyword, 1) == &kReal;
}

/// Bytes as a C literal has them: \n, \\, \x41, \101.
std::string withoutEscapes(std::string_view text)
{
    static constexpr std::string_view kLetters = "abfnrtv";
    static constexpr std::string_view kBytes = "\a\b\f\n\r\t\v";
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char next = text[++i];
        const bool isHexadecimal = next == 'x';
        const std::size_t start = isHexadecimal ? i + 1 : i;
        const std::size_t most = isHexadecimal ? 2 : 3;
        unsigned int byte = 0;
        const char* const from = text.data() + start;
        const char* const to = text.data() + std::min(text.size(), start + most);
        const auto number = std::from_chars(from, to, byte, isHexadecimal ? 16 : 8);
        if (number.ec == std::errc() && (isHexadecimal || (next >= '0' && next <= '7'))) {
            plain += static_cast<char>(byte);
            i = start + static_cast<std::size_t>(number.ptr - from) - 1;
        } else if (const std::size_t letter = kLetters.find(next); letter != kLetters.npos) {
            plain += kBytes[letter];
        } else {
            plain += next;
        }
    }
    return plain;
}

std::vector<std::string_view> wordsOf(std::string_view text)
{
    std::vector<std::string_view> words;
    for (std::size_t at = text.find_first_not_of(' '); at != std::string_view::npos;
         at = text.find_first_not_of(' ', at)) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

} // namespace

FstHierarchy::FstHierarchy(std::string version, std::string date, const Timescale& timescale)
    : m_builder(std::move(version), timescale)
{
    m_builder.setDate(date);
}

FstNames FstHierarchy::read(const FstBytes& bytes)
{
    m_at = bytes.data();
    m_end = bytes.data() + bytes.size();
    while (m_at != m_end) {
        if (!readEntry()) {
            m_names.isCutOff = true;
            break;
        }
    }
    m_names.declarations = m_builder.finish();
    return std::move(m_names);
}

bool FstHierarchy::readText(std::string_view& text)
{
    const auto* const end = static_cast<const unsigned char*>(
        std::memchr(m_at, 0, static_cast<std::size_t>(m_end - m_at)));
    if (end == nullptr) {
        return false;
    }
    text = {reinterpret_cast<const char*>(m_at), static_cast<std::size_t>(end - m_at)};
    m_at = end + 1;
    return true;
}

bool FstHierarchy::readEntry()
{
    const unsigned char tag = *m_at++;
    switch (tag) {
    case kScope:
        return readScope();
    case kScopeEnd:
        if (m_depth > 0) {
            --m_depth;
            m_builder.closeScope();
        }
        return true;
    case kAttribute:
        return readAttribute();
    case kAttributeEnd:
        return true;
    default:
        if (tag >= std::size(kFstVariables)) {
            throw Failure(fmt::format("the names hold an entry of kind {}, which no version of the "
                                      "format has; the file is damaged, convert or dump it again",
                                      tag));
        }
        return readVariable(tag);
    }
}

bool FstHierarchy::readScope()
{
    std::string_view name;
    std::string_view component;
    if (m_at == m_end) {
        return false;
    }
    const unsigned char kind = *m_at++;
    if (!readText(name) || !readText(component)) {
        return false;
    }
    if (++m_depth > kMaxScopeDepth) {
        throw Failure(fmt::format("scopes are nested more than {} deep; dump a part of the design",
                                  kMaxScopeDepth));
    }
    m_builder.openScope(kind < std::size(kFstScopes) ? kFstScopes[kind] : kFstScopes[0], name);
    return true;
}

bool FstHierarchy::readVariable(unsigned int kind)
{
    std::string_view text;
    unsigned long long length = 0;
    unsigned long long alias = 0;
    if (m_at == m_end) {
        return false;
    }
    const unsigned char direction = *m_at++;
    if (!readText(text) || !readVarint(m_at, m_end, length) || !readVarint(m_at, m_end, alias)) {
        return false;
    }
    if (alias > m_names.objects.size() || length > kMaxWidth || ++m_variables > kMostVariables) {
        throw Failure("the names make no sense; the file is damaged, convert or dump it again");
    }
    const std::string_view keyword = kFstVariables[kind];
    const bool isNumber = isReal(keyword);
    auto width = static_cast<unsigned int>(length);
    if (kind == kFstPort) {
        // The value has three letters a bit, and two blanks.
        width = width > 2 ? (width - 2) / 3 : 1;
    }
    const auto [name, range] = splitVariableName(text, isNumber ? 1 : width);
    if (direction >= 1 && direction <= static_cast<unsigned char>(Direction::Linkage)) {
        m_builder.setDirection(static_cast<Direction>(direction));
    }
    if (alias == 0) {
        const unsigned int declared = isNumber ? 64 : std::max(width, 1U);
        m_names.objects.push_back(
            m_builder.addVariable(keyword, name, range, declared, declaredKind(keyword, declared)));
        m_names.isPort.push_back(kind == kFstPort ? 1 : 0);
        m_names.lengths.push_back(isNumber ? FstNames::kRealLength
                                           : static_cast<std::uint32_t>(length));
    } else {
        m_builder.addAlias(keyword, name, range, std::max(width, 1U), m_names.objects[alias - 1]);
    }
    return true;
}

bool FstHierarchy::readAttribute()
{
    std::string_view name;
    unsigned long long argument = 0;
    if (m_end - m_at < 2) {
        return false;
    }
    const unsigned int type = m_at[0];
    const unsigned int kind = m_at[1];
    m_at += 2;
    if (!readText(name) || !readVarint(m_at, m_end, argument)) {
        return false;
    }
    if (type == kMisc) {
        takeAttribute(kind, name, argument);
    }
    return true;
}

void FstHierarchy::takeAttribute(unsigned int type, std::string_view name,
                                 unsigned long long argument)
{
    if (type == kComment && !name.empty()) {
        m_builder.addComment(name);
    } else if (type == kVariableType) {
        constexpr unsigned long long kDataType = 1023;
        const std::size_t data = argument & kDataType;
        const bool isKnown = data < std::size(kFstDataTypes);
        m_builder.setType(name.empty() && isKnown ? kFstDataTypes[data] : name);
        if (data == kFstSigned) {
            m_builder.setSigned();
        }
    } else if (type == kEnumeration && name.empty()) {
        const auto found = m_enumerations.find(argument);
        if (found != m_enumerations.end()) {
            m_builder.setEnumeration(found->second);
        }
    } else if (type == kEnumeration) {
        addEnumeration(name, argument);
    }
}

/// "NAME COUNT" with so many names, then as many values.
void FstHierarchy::addEnumeration(std::string_view text, unsigned long long number)
{
    const std::vector<std::string_view> words = wordsOf(text);
    std::size_t count = 0;
    if (words.size() < 2 ||
        std::from_chars(words[1].data(), words[1].data() + words[1].size(), count).ec !=
            std::errc() ||
        count > words.size() || words.size() != 2 * count + 2) {
        return;
    }
    std::vector<std::pair<std::string, std::string>> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.emplace_back(withoutEscapes(words[2 + count + i]), withoutEscapes(words[2 + i]));
    }
    m_enumerations[number] = m_builder.addEnumeration(words[0], values);
}

} // namespace tracewell
