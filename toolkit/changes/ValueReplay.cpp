// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ValueReplay.h"

#include "values/VcdValues.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

namespace tracewell {

namespace {

/// What a value that is no single letter begins with.
constexpr std::string_view kTextKinds = "brsp";

} // namespace

ValueReplay::ValueReplay(const Declarations& declarations, const DataLayout& layout,
                         TextSource& texts)
    : m_declarations(declarations), m_layout(layout), m_texts(texts), m_memory(layout.totalSize()),
      m_shown(layout.totalSize()), m_isShown(declarations.objects.size()),
      m_places(layout, declarations.objects.size()), m_isMarked(declarations.objects.size())
{}

void ValueReplay::select(const std::vector<std::uint32_t>& objects)
{
    m_isMarked.assign(m_isMarked.size(), 1);
    for (const std::uint32_t object : objects) {
        m_isMarked[object] = 0;
    }
}

void ValueReplay::apply(long long address, const unsigned char* value, unsigned int length)
{
    if (address < 0 || address >= m_layout.totalSize()) {
        return;
    }
    const long long end = std::min(address + length, m_layout.totalSize());
    if (address < m_layout.eventEnd() && end > m_layout.eventStart()) {
        countFirings(address, value, end);
    }
    std::memcpy(m_memory.at(address), value, static_cast<std::size_t>(end - address));
    markRange(address, end);
}

/// The count of an event wraps, so it is followed from record to record.
void ValueReplay::countFirings(long long address, const unsigned char* value, long long end)
{
    const long long first = std::max(address, m_layout.eventStart());
    for (std::size_t i = m_places.find(first); i < m_places.size(); ++i) {
        const long long count = m_places[i].address;
        if (count >= std::min(end, m_layout.eventEnd())) {
            break;
        }
        const int before = *m_memory.at(count);
        if (count >= first && value[count - address] != before) {
            m_firings[m_places[i].object] +=
                static_cast<unsigned char>(value[count - address] - before);
        }
    }
}

void ValueReplay::markRange(long long address, long long end)
{
    constexpr long long kOverrideBytes = sizeof(TextReference);
    if (address < m_layout.overrideStart() && m_places.size() != 0) {
        for (std::size_t i = m_places.find(address);
             i < m_places.size() && m_places[i].address < end; ++i) {
            mark(m_places[i].object);
        }
    }
    for (address = std::max(address, m_layout.overrideStart()); address < end;
         address += kOverrideBytes) {
        mark(static_cast<std::uint32_t>((address - m_layout.overrideStart()) / kOverrideBytes));
    }
}

void ValueReplay::fire(std::uint32_t object, unsigned long long times, std::uint8_t code)
{
    *(m_memory.at(m_layout.addressOf(object)) + 1) = code;
    m_firings[object] += times;
    mark(object);
}

void ValueReplay::spell(std::uint32_t object, const std::string& letters)
{
    const auto known = m_letters.find(object);
    if (letters.empty() ? known == m_letters.end()
                        : known != m_letters.end() && known->second == letters) {
        return;
    }
    if (letters.empty()) {
        m_letters.erase(known);
    } else {
        m_letters[object] = letters;
    }
    // Whatever its groups are: they did not tell all before, or do not now.
    m_isShown[object] = 0;
    mark(object);
}

void ValueReplay::takeChanges(std::vector<std::uint32_t>& out)
{
    out.clear();
    if (!m_takenFirings.empty()) {
        m_takenFirings.clear();
    }
    if (m_marked.size() > 1) {
        std::sort(m_marked.begin(), m_marked.end());
    }
    for (const std::uint32_t object : m_marked) {
        m_isMarked[object] = 0;
        if (isChanged(object)) {
            out.push_back(object);
            show(object);
        }
    }
    m_marked.clear();
    m_takenFirings.swap(m_firings);
}

bool ValueReplay::isChanged(std::size_t object) const
{
    const auto same = [&](long long address, long long size) {
        return std::memcmp(m_memory.at(address), m_shown.at(address),
                           static_cast<std::size_t>(size)) == 0;
    };
    const Object& declared = m_declarations.objects[object];
    if (m_isShown[object] == 0 || !same(m_layout.overrideOf(object), sizeof(TextReference))) {
        return true;
    }
    // The plain value under a text does not show; but an event that fires again does.
    const bool isCovered =
        referenceAt(m_layout.overrideOf(object)).kind != 0 && !declared.kind->fires();
    return !isCovered && (!same(m_layout.addressOf(object), DataLayout::sizeOf(declared)) ||
                          m_firings.find(static_cast<std::uint32_t>(object)) != m_firings.end());
}

void ValueReplay::show(std::size_t object)
{
    const auto copy = [&](long long address, long long size) {
        std::memcpy(m_shown.at(address), m_memory.at(address), static_cast<std::size_t>(size));
    };
    copy(m_layout.addressOf(object), DataLayout::sizeOf(m_declarations.objects[object]));
    copy(m_layout.overrideOf(object), sizeof(TextReference));
    m_isShown[object] = 1;
}

const unsigned char* ValueReplay::plainValue(std::uint32_t object) const
{
    const ValueKind& kind = *m_declarations.objects[object].kind;
    const bool tellsAll = m_isShown[object] != 0 && !kind.isText() && !kind.fires() &&
                          referenceAt(m_layout.overrideOf(object)).kind == 0 &&
                          m_letters.find(object) == m_letters.end();
    return tellsAll ? m_memory.at(m_layout.addressOf(object)) : nullptr;
}

unsigned long long ValueReplay::firings(std::uint32_t object) const
{
    const auto found = m_takenFirings.find(object);
    return found == m_takenFirings.end() ? 0 : found->second;
}

void ValueReplay::appendValue(std::string& out, std::uint32_t object)
{
    if (m_isShown[object] == 0) {
        return;
    }
    if (!appendText(out, referenceAt(m_layout.overrideOf(object)))) {
        appendPlain(out, object);
    }
}

void ValueReplay::appendChange(std::string& out, std::uint32_t object)
{
    const Object& declared = m_declarations.objects[object];
    const std::size_t start = out.size();
    appendValue(out, object);
    if (out.size() == start) {
        return;
    }
    if (kTextKinds.find(out[start]) != std::string_view::npos) {
        out += ' ';
    }
    out.append(declared.code).append(1, '\n');
    if (declared.kind->fires()) {
        // An event comes as often as it fired, whatever its value looks like.
        const std::string change = out.substr(start);
        const unsigned long long times = firings(object);
        if (times == 0) {
            out.resize(start);
        }
        for (unsigned long long i = 1; i < times; ++i) {
            out += change;
        }
    }
}

TextReference ValueReplay::referenceAt(long long address) const
{
    TextReference reference;
    std::memcpy(&reference, m_memory.at(address), sizeof reference);
    return reference;
}

bool ValueReplay::isTextThere(std::uint32_t object)
{
    const bool isString = m_declarations.objects[object].kind->isText();
    TextReference reference = referenceAt(m_layout.overrideOf(object));
    if (reference.kind == 0 && isString) {
        reference = referenceAt(m_layout.addressOf(object));
    }
    return reference.kind == 0 ||
           kTextKinds.find(static_cast<char>(reference.kind)) == std::string_view::npos ||
           m_texts.find(reference).has_value();
}

/// False when there is no text, or none that can be found.
bool ValueReplay::appendText(std::string& out, const TextReference& reference)
{
    if (kTextKinds.find(static_cast<char>(reference.kind)) == std::string_view::npos) {
        return false;
    }
    const std::optional<std::string> text = m_texts.find(reference);
    if (!text) {
        ++m_missingTexts;
        return false;
    }
    out += static_cast<char>(reference.kind);
    if (reference.kind == 'b') {
        std::transform(text->begin(), text->end(), std::back_inserter(out), spelledLetter);
    } else {
        out += *text;
    }
    return true;
}

void ValueReplay::appendPlain(std::string& out, std::uint32_t object)
{
    const Object& declared = m_declarations.objects[object];
    const unsigned char* value = m_memory.at(m_layout.addressOf(object));
    const auto letters = m_letters.find(object);
    if (declared.kind->isText()) {
        appendText(out, referenceAt(m_layout.addressOf(object)));
    } else if (letters == m_letters.end()) {
        declared.kind->spell(out, value, declared.width);
    } else {
        out += static_cast<char>(ChangeForm::Letters);
        std::transform(letters->second.begin(), letters->second.end(), std::back_inserter(out),
                       spelledLetter);
    }
}

} // namespace tracewell
