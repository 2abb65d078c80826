// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdDeclarations.h"

#include "formats/vcd/VcdCodes.h"
#include "formats/vcd/VcdInput.h"
#include "names/Attributes.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace tracewell {

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Reads a decimal number that takes the whole of `text`.
template <class Number> bool parseNumber(std::string_view text, Number& number)
{
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

/// Width of "[7:0]" or "[3]"; false for anything else.
bool parseRange(std::string_view text, long long& width)
{
    if (text.size() < 3 || text.front() != '[' || text.back() != ']') {
        return false;
    }
    text = text.substr(1, text.size() - 2);
    const std::size_t colon = text.find(':');
    constexpr long long kFarthest = 1LL << 40;
    long long left = 0;
    long long right = 0;
    const auto isFar = [](long long bit) { return bit < -kFarthest || bit > kFarthest; };
    if (!parseNumber(text.substr(0, colon), left) || isFar(left)) {
        return false;
    }
    width = 1;
    if (colon != std::string_view::npos) {
        if (!parseNumber(text.substr(colon + 1), right) || isFar(right)) {
            return false;
        }
        width += std::max(left, right) - std::min(left, right);
    }
    return true;
}

struct NameParts
{
    std::string_view name;
    std::string_view range;
    bool isAttached = false;
};

/// An escaped name may end in a bracket of its own, and so may the name of an array's element; so
/// may anything that does not fit the width. Where there is nothing but a range, that is the name,
/// as it would be when it is read again.
NameParts partsOf(std::string_view text, unsigned int declaredWidth)
{
    const std::size_t bracket = text.rfind('[');
    long long width = 0;
    if (bracket == std::string_view::npos || bracket == 0 ||
        !parseRange(text.substr(bracket), width)) {
        return {text, {}, false};
    }
    const std::size_t nameEnd = text.find_last_not_of(kBlanks, bracket - 1) + 1;
    const bool isAttached = nameEnd == bracket;
    if (isAttached && (text[0] == '\\' || width == 1 || width != declaredWidth)) {
        return {text, {}, false};
    }
    return {text.substr(0, nameEnd), text.substr(bracket), isAttached};
}

class DeclarationReader
{
public:
    DeclarationReader(VcdInput& input, bool mayBeCutOff)
        : m_input(input), m_mayBeCutOff(mayBeCutOff)
    {}
    Declarations read();
    /// Whether the input ended before the declarations did.
    bool isCutOff() const { return m_isCutOff; }

private:
    /// Thrown at the end of the input.
    struct CutOff
    {};

    /// Where the object of a code stands, or kNoObject.
    struct ObjectPlace
    {
        std::uint32_t object;
        /// The code's: most others are told from it, and its new place is found, without its text.
        std::uint32_t hash;
    };

    void readSections();
    [[noreturn]] void failAtEnd(const std::string& why);
    void readScope();
    void closeScope();
    void readVariable();
    void readTimescale();
    void readOther(std::string_view keyword);
    bool readAttribute(std::string_view text);
    std::string sectionText(const char* keyword);
    /// One of the words that a section must have.
    std::string_view needed(const char* section);
    void takeEnd();
    unsigned int parseWidth(std::string_view text, Variable& variable);
    void splitName(std::string_view text, Variable& variable);
    std::size_t objectOf(const std::string& code, const Variable& variable);
    static std::uint32_t hashOf(const std::string& code)
    {
        return static_cast<std::uint32_t>(std::hash<std::string>{}(code));
    }
    ObjectPlace& findObject(const std::string& code, std::uint32_t hash);
    void growObjects();
    void add(Declarations::Item::Kind kind, std::size_t index)
    {
        m_table.items.push_back({kind, index});
    }

    using ScopeKey = std::tuple<std::size_t, std::string, std::string>;

    VcdInput& m_input;
    Declarations m_table;
    std::vector<std::size_t> m_open;
    std::map<ScopeKey, std::size_t> m_scopes;
    /// Indices of objects by their codes, with open addressing; a node a code would take several
    /// times as much. The size is a power of two, at least twice the number of objects.
    std::vector<ObjectPlace> m_objects;
    /// Enumerations by the numbers that attributes refer to them by.
    std::unordered_map<std::string, std::size_t> m_enumerations;
    /// What attributes said of the next variable.
    Variable m_next;
    std::string m_text;
    bool m_mayBeCutOff;
    bool m_isCutOff = false;
};

/// Whether a word behind variables, with no $enddefinitions before it, belongs to the changes.
bool startsBody(std::string_view word)
{
    return word[0] == '$'
               ? word.substr(0, 5) == "$dump"
               : word[0] == '#' || letterCode(word[0]) != kNoLetter ||
                     std::string_view("bBrRsSpP").find(word[0]) != std::string_view::npos;
}

Declarations DeclarationReader::read()
{
    try {
        readSections();
    } catch (const CutOff&) {
        m_isCutOff = true;
    }
    while (!m_open.empty()) {
        closeScope();
    }
    return std::move(m_table);
}

/// Variables that are whole are worth keeping, and for them alone is the input taken at all.
void DeclarationReader::failAtEnd(const std::string& why)
{
    if (m_mayBeCutOff && !m_table.variables.empty()) {
        throw CutOff();
    }
    if (m_input.isShortened()) {
        throw Failure(fmt::format("{}: {}, and no variable is declared by then; copy the file "
                                  "again, or dump it again",
                                  m_input.name(), m_input.flaw()));
    }
    m_input.fail(why);
}

void DeclarationReader::readSections()
{
    bool any = false;
    for (;;) {
        const std::string_view keyword = m_input.word();
        if (keyword.empty()) {
            failAtEnd(
                any ? "the declarations are cut off: there is no $enddefinitions; dump it again"
                    : "the file is empty, not a VCD; name another, or dump it again");
        }
        const bool body = startsBody(keyword);
        if (keyword[0] != '$' && !(body && any)) {
            m_input.fail(fmt::format("{} is no declaration; {}", inQuotes(keyword),
                                     any ? "a section that starts with $ was expected"
                                         : "the file is not a VCD; name another"));
        }
        any = true;
        if (keyword == "$var") {
            readVariable();
        } else if (keyword == "$scope") {
            readScope();
        } else if (keyword == "$upscope") {
            takeEnd();
            closeScope();
        } else if (keyword == "$timescale") {
            readTimescale();
        } else if (keyword == "$date") {
            m_table.date = sectionText("$date");
        } else if (keyword == "$version") {
            m_table.version = sectionText("$version");
        } else if (keyword == "$comment") {
            m_table.comments.push_back(sectionText("$comment"));
            add(Declarations::Item::Kind::Comment, m_table.comments.size() - 1);
        } else if (keyword == "$enddefinitions") {
            takeEnd();
            return;
        } else if (body) {
            m_input.putBack();
            return;
        } else if (keyword != "$end") {
            readOther(keyword);
        }
    }
}

std::string DeclarationReader::sectionText(const char* keyword)
{
    if (!m_input.textToEnd(m_text)) {
        failAtEnd(fmt::format(
            "a {} section is cut off: there is no $end; put it there, or dump it again", keyword));
    }
    return m_text;
}

std::string_view DeclarationReader::needed(const char* section)
{
    const std::string_view word = m_input.word();
    const auto why = [&] {
        return fmt::format("a {} section is cut off; complete it, or dump it again", section);
    };
    if (word.empty()) {
        failAtEnd(why());
    }
    if (word == "$end") {
        m_input.fail(why());
    }
    return word;
}

/// The $end of a section without words; its absence does no harm.
void DeclarationReader::takeEnd()
{
    if (m_input.word() != "$end") {
        m_input.putBack();
    }
}

/// The text of a $scope or $var, whose names can hold blanks but no declaration.
static void checkEnded(const VcdInput& input, std::string_view text, const char* section)
{
    if (text.find('$') == std::string_view::npos) {
        return;
    }
    for (const char* keyword : {"$var", "$scope", "$upscope", "$enddefinitions"}) {
        for (std::size_t at = text.find(keyword); at != std::string_view::npos;
             at = text.find(keyword, at + 1)) {
            const std::size_t behind = at + std::string_view(keyword).size();
            const bool starts = at == 0 || kBlanks.find(text[at - 1]) != std::string_view::npos;
            const bool ends =
                behind == text.size() || kBlanks.find(text[behind]) != std::string_view::npos;
            if (starts && ends) {
                input.fail(fmt::format(
                    "a {} section is cut off: {} follows before its $end; put that there", section,
                    keyword));
            }
        }
    }
}

void DeclarationReader::readScope()
{
    Scope scope;
    scope.kind = needed("$scope");
    scope.name = sectionText("$scope");
    checkEnded(m_input, scope.name, "$scope");
    scope.parent = m_open.empty() ? kNoScope : m_open.back();
    if (m_open.size() == kMaxScopeDepth) {
        m_input.fail(fmt::format("scopes are nested more than {} deep; dump a part of the design",
                                 kMaxScopeDepth));
    }
    const auto [place, isNew] =
        m_scopes.try_emplace(ScopeKey(scope.parent, scope.kind, scope.name), m_table.scopes.size());
    if (isNew) {
        m_table.scopes.push_back(std::move(scope));
    }
    m_open.push_back(place->second);
    add(Declarations::Item::Kind::OpenScope, place->second);
}

void DeclarationReader::closeScope()
{
    if (!m_open.empty()) {
        add(Declarations::Item::Kind::CloseScope, m_open.back());
        m_open.pop_back();
    }
}

void DeclarationReader::readVariable()
{
    Variable variable = std::exchange(m_next, {});
    variable.kind = CommonText(needed("$var"));
    variable.width = parseWidth(needed("$var"), variable);
    const std::string code(needed("$var"));
    const std::string text = sectionText("$var");
    checkEnded(m_input, text, "$var");
    splitName(text, variable);
    variable.scope = m_open.empty() ? kNoScope : m_open.back();
    variable.object = objectOf(code, variable);
    variable.isSigned = variable.isSigned || isSignedKeyword(variable.kind.str());
    add(Declarations::Item::Kind::Variable, m_table.variables.size());
    m_table.variables.push_back(std::move(variable));
}

/// A size is a number or, in an extended VCD, a range. 0 stands for 1.
unsigned int DeclarationReader::parseWidth(std::string_view text, Variable& variable)
{
    long long width = 0;
    if (parseRange(text, width)) {
        variable.range = CommonText(text);
    } else if (!std::all_of(text.begin(), text.end(), isDigit)) {
        m_input.fail(
            fmt::format("{} is no size of a variable; write a number of bits", inQuotes(text)));
    } else if (!parseNumber(text, width)) {
        width = kMaxWidth + 1LL;
    }
    const bool counts = declaredKind(variable.kind.str(), 2).hasBits();
    if (width > (counts ? static_cast<long long>(kMaxWidth) : 0x7fffffffLL)) {
        m_input.fail(fmt::format(
            "a variable of {} bits; the widest that can be kept has {}; leave it out of the dump",
            inQuotes(text), kMaxWidth));
    }
    return static_cast<unsigned int>(std::max(width, 1LL));
}

void DeclarationReader::splitName(std::string_view text, Variable& variable)
{
    if (!variable.range.empty()) {
        variable.name = text.empty() ? variable.range.str() : text;
        variable.range = text.empty() ? CommonText() : variable.range;
        return;
    }
    const NameParts parts = partsOf(text, variable.width);
    variable.name = parts.name;
    variable.range = CommonText(parts.range);
    variable.rangeAttached = parts.isAttached;
}

std::size_t DeclarationReader::objectOf(const std::string& code, const Variable& variable)
{
    const ValueKind& wanted = declaredKind(variable.kind.str(), variable.width);
    if (2 * (m_table.objects.size() + 1) > m_objects.size()) {
        growObjects();
    }
    const std::uint32_t hash = hashOf(code);
    ObjectPlace& place = findObject(code, hash);
    if (place.object == kNoObject) {
        place = {static_cast<std::uint32_t>(m_table.objects.size()), hash};
        m_table.objects.push_back({code, &wanted, variable.width});
        return place.object;
    }
    Object& object = m_table.objects[place.object];
    const bool haveBits = object.kind->hasBits() && wanted.hasBits();
    if (haveBits && variable.width > object.width) {
        object.width = variable.width;
        object.kind = &wanted;
    }
    return place.object;
}

/// The place of the code, or the free one that it takes.
DeclarationReader::ObjectPlace& DeclarationReader::findObject(const std::string& code,
                                                              std::uint32_t hash)
{
    const std::size_t mask = m_objects.size() - 1;
    std::size_t place = hash & mask;
    while (
        m_objects[place].object != kNoObject &&
        (m_objects[place].hash != hash || m_table.objects[m_objects[place].object].code != code)) {
        place = (place + 1) & mask;
    }
    return m_objects[place];
}

void DeclarationReader::growObjects()
{
    const std::size_t size = std::max<std::size_t>(2 * m_objects.size(), 64);
    const std::vector<ObjectPlace> old =
        std::exchange(m_objects, std::vector<ObjectPlace>(size, {kNoObject, 0}));
    for (const ObjectPlace& place : old) {
        if (place.object != kNoObject) {
            findObject(m_table.objects[place.object].code, place.hash) = place;
        }
    }
}

/// "1ns", "10 ps", "244 ns", "1.5 us", "ns".
void DeclarationReader::readTimescale()
{
    const std::string text = sectionText("$timescale");
    std::string digits;
    int exponent = 0;
    std::size_t at = 0;
    bool fraction = false;
    for (; at < text.size() && (isDigit(text[at]) || (text[at] == '.' && !fraction)); ++at) {
        if (text[at] == '.') {
            fraction = true;
        } else {
            digits += text[at];
            exponent -= fraction ? 1 : 0;
        }
    }
    at = text.find_first_not_of(kBlanks, at);
    std::string unit = at == std::string::npos ? "" : text.substr(at);
    std::transform(unit.begin(), unit.end(), unit.begin(), [](char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    });
    if (text.empty()) {
        return;
    }
    static const std::unordered_map<std::string, int> kUnits = {
        {"s", 0},
        {"sec", 0},
        {"ms", -3},
        {"us", -6},
        {"ns", -9},
        {"ps", -12},
        {"fs", -15},
        {"as", -18},
        {"zs", -21},
        // The micro sign and the Greek letter, in UTF-8 and Latin-1.
        {"\xc2\xb5s", -6},
        {"\xce\xbcs", -6},
        {"\xb5s", -6},
    };
    while (exponent < 0 && !digits.empty() && digits.back() == '0') {
        digits.pop_back();
        ++exponent;
    }
    const auto found = kUnits.find(unit);
    unsigned long long factor = 1;
    const bool sound = digits.empty() ? !fraction : parseNumber(digits, factor);
    if (found == kUnits.end() || !sound || factor == 0 || factor > kMaxTimescaleFactor ||
        exponent < -18) {
        m_input.fail(fmt::format("{} is no timescale; write it like 10 ns", inQuotes(text)));
    }
    m_table.timescale = {factor, found->second + exponent, true};
}

void DeclarationReader::readOther(std::string_view keyword)
{
    Declarations::Section section;
    section.keyword = keyword;
    section.text = sectionText(section.keyword.c_str());
    if (keyword == "$attrbegin") {
        section.isForNext = readAttribute(section.text);
    }
    add(Declarations::Item::Kind::Section, m_table.sections.size());
    m_table.sections.push_back(std::move(section));
}

/// Others than those of Attributes.h, and such as are spelled otherwise, say nothing to us.
/// Answers whether it says something of the next variable.
bool DeclarationReader::readAttribute(std::string_view text)
{
    std::vector<std::string_view> words;
    for (std::size_t at = text.find_first_not_of(kBlanks); at != std::string_view::npos;
         at = text.find_first_not_of(kBlanks, at)) {
        const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    if (words.size() < 4 || words[0] != "misc") {
        return false;
    }
    const std::string number(words.back());
    if (words[1] == "08" && words[2] == "direction") {
        unsigned int direction = 0;
        if (parseNumber(words[3], direction) &&
            direction <= static_cast<unsigned int>(Direction::Linkage)) {
            m_next.direction = static_cast<Direction>(direction);
        }
        return true;
    }
    if (words[1] == "08" && words[2] == "signed") {
        m_next.isSigned = true;
        return true;
    }
    if (words[1] == "02") {
        m_next.type = CommonText(nameOfWord(words[2]));
        return true;
    }
    if (words[1] != "07") {
        return false;
    }
    if (words[2] == "\"\"") {
        const auto found = m_enumerations.find(number);
        m_next.enumeration = found == m_enumerations.end() ? kNoEnumeration : found->second;
        return true;
    }
    std::size_t count = 0;
    if (!parseNumber(words[3], count) || count > words.size() || words.size() != 2 * count + 5) {
        return false;
    }
    Enumeration enumeration;
    enumeration.name = nameOfWord(words[2]);
    for (std::size_t i = 0; i < count; ++i) {
        enumeration.add(words[4 + count + i], nameOfWord(words[4 + i]));
    }
    m_enumerations[number] = m_table.enumerations.size();
    m_table.enumerations.push_back(std::move(enumeration));
    return false;
}

} // namespace

std::pair<std::string, std::string> splitVariableName(std::string_view text, unsigned int width)
{
    const NameParts parts = partsOf(text, width);
    return {std::string(parts.name), std::string(parts.range)};
}

Declarations readDeclarations(VcdInput& input, bool* isCutOff)
{
    DeclarationReader reader(input, isCutOff != nullptr);
    Declarations table = reader.read();
    if (isCutOff != nullptr) {
        *isCutOff = reader.isCutOff();
    }
    return table;
}

} // namespace tracewell
