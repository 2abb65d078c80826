#include "recording/ValueReplay.h"

#include "vcd/VcdValues.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace tracewell {

namespace {

/// Pages a place that the index by address may take.
constexpr long long kPagesOfPlace = 8;
constexpr long long kFewestPages = 4096;

/// As simulators write a letter: x and z small, those that only nine-state logic has in capitals.
char spell(char letter)
{
    switch (letter) {
    case 'u':
        return 'U';
    case 'w':
        return 'W';
    case 'l':
        return 'L';
    case 'h':
        return 'H';
    default:
        return letter;
    }
}

} // namespace

ValueReplay::ValueReplay(const Declarations& declarations, const DataLayout& layout,
                         TextLookup& texts)
    : m_declarations(declarations), m_layout(layout), m_texts(texts), m_memory(layout.totalSize()),
      m_shown(layout.totalSize()), m_isShown(declarations.objects.size()),
      m_isMarked(declarations.objects.size())
{
    for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
        m_places.push_back({layout.addressOf(i), static_cast<std::uint32_t>(i)});
        if (declarations.objects[i].objectClass == ObjectClass::Event) {
            if (m_eventEnd == 0) {
                m_eventStart = layout.addressOf(i);
            }
            m_eventEnd = layout.addressOf(i) + DataLayout::sizeOf(declarations.objects[i]);
        }
    }
    std::sort(m_places.begin(), m_places.end(),
              [](const Place& a, const Place& b) { return a.address < b.address; });
    const auto pages = kFewestPages + kPagesOfPlace * static_cast<long long>(m_places.size());
    while (layout.overrideStart() >> m_pageShift > pages) {
        ++m_pageShift;
    }
    std::uint32_t place = 0;
    for (long long page = 0; page <= (layout.overrideStart() >> m_pageShift) + 1; ++page) {
        while (place + 1 < m_places.size() &&
               m_places[place + 1].address <= (page << m_pageShift)) {
            ++place;
        }
        m_firstOfPage.push_back(place);
    }
}

void ValueReplay::apply(long long address, const unsigned char* value, unsigned int length)
{
    if (address < 0 || address >= m_layout.totalSize()) {
        return;
    }
    const long long end = std::min(address + length, m_layout.totalSize());
    if (address < m_eventEnd && end > m_eventStart) {
        countFirings(address, value, end);
    }
    std::memcpy(m_memory.at(address), value, static_cast<std::size_t>(end - address));
    markRange(address, end);
}

/// The count of an event wraps, so it is followed from record to record.
void ValueReplay::countFirings(long long address, const unsigned char* value, long long end)
{
    const long long first = std::max(address, m_eventStart);
    for (std::size_t i = placeOf(first); i < m_places.size(); ++i) {
        const long long count = m_places[i].address;
        if (count >= std::min(end, m_eventEnd)) {
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
    if (address < m_layout.overrideStart() && !m_places.empty()) {
        for (std::size_t i = placeOf(address); i < m_places.size() && m_places[i].address < end;
             ++i) {
            mark(m_places[i].object);
        }
    }
    for (address = std::max(address, m_layout.overrideStart()); address < end;
         address += kOverrideBytes) {
        mark(static_cast<std::uint32_t>((address - m_layout.overrideStart()) / kOverrideBytes));
    }
}

/// The last place at or before the address.
std::size_t ValueReplay::placeOf(long long address) const
{
    const auto page = static_cast<std::size_t>(address >> m_pageShift);
    const std::uint32_t first = m_firstOfPage[page];
    const std::uint32_t last = m_firstOfPage[page + 1];
    if (m_pageShift == 0 || first == last) {
        return first;
    }
    const auto behind =
        std::upper_bound(m_places.begin() + first, m_places.begin() + last + 1, address,
                         [](long long wanted, const Place& p) { return wanted < p.address; });
    return static_cast<std::size_t>(behind - m_places.begin()) - 1;
}

void ValueReplay::mark(std::uint32_t object)
{
    if (m_isMarked[object] == 0) {
        m_isMarked[object] = 1;
        m_marked.push_back(object);
    }
}

bool ValueReplay::takeChanges(std::string& out)
{
    std::sort(m_marked.begin(), m_marked.end());
    bool any = false;
    for (const std::uint32_t object : m_marked) {
        m_isMarked[object] = 0;
        if (isChanged(object)) {
            any = true;
            appendValue(out, object);
        }
    }
    m_marked.clear();
    return any;
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
    const bool isCovered = referenceAt(m_layout.overrideOf(object)).kind != 0 &&
                           declared.objectClass != ObjectClass::Event;
    return !isCovered && (!same(m_layout.addressOf(object), DataLayout::sizeOf(declared)) ||
                          m_firings.find(static_cast<std::uint32_t>(object)) != m_firings.end());
}

void ValueReplay::appendValue(std::string& out, std::size_t object)
{
    const Object& declared = m_declarations.objects[object];
    // An event comes as often as it fired, whatever its value looks like.
    const std::size_t start = out.size();
    if (!appendText(out, referenceAt(m_layout.overrideOf(object)), declared.code)) {
        appendPlain(out, object);
    } else if (declared.objectClass == ObjectClass::Event) {
        const std::string change = out.substr(start);
        for (auto left = takeFirings(object); left > 1; --left) {
            out += change;
        }
    }
    const auto show = [&](long long address, long long size) {
        std::memcpy(m_shown.at(address), m_memory.at(address), static_cast<std::size_t>(size));
    };
    show(m_layout.addressOf(object), DataLayout::sizeOf(m_declarations.objects[object]));
    show(m_layout.overrideOf(object), sizeof(TextReference));
    m_isShown[object] = 1;
}

unsigned long long ValueReplay::takeFirings(std::size_t object)
{
    const auto found = m_firings.find(static_cast<std::uint32_t>(object));
    if (found == m_firings.end()) {
        return 0;
    }
    const unsigned long long firings = found->second;
    m_firings.erase(found);
    return firings;
}

TextReference ValueReplay::referenceAt(long long address) const
{
    TextReference reference;
    std::memcpy(&reference, m_memory.at(address), sizeof reference);
    return reference;
}

/// False when there is no text, or none that can be found.
bool ValueReplay::appendText(std::string& out, const TextReference& reference,
                             const std::string& code)
{
    if (std::string_view("brsp").find(static_cast<char>(reference.kind)) ==
        std::string_view::npos) {
        return false;
    }
    const std::optional<std::string> text = m_texts.find(reference);
    if (!text) {
        ++m_missingTexts;
        return false;
    }
    out += static_cast<char>(reference.kind);
    if (reference.kind == 'b') {
        std::transform(text->begin(), text->end(), std::back_inserter(out), spell);
    } else {
        out += *text;
    }
    out.append(1, ' ').append(code).append(1, '\n');
    return true;
}

void ValueReplay::appendPlain(std::string& out, std::size_t object)
{
    const Object& declared = m_declarations.objects[object];
    const unsigned char* value = m_memory.at(m_layout.addressOf(object));
    switch (declared.objectClass) {
    case ObjectClass::Scalar:
        out += spell(kLetters[*value < kLetterCount ? *value : kLetterX]);
        out.append(declared.code).append(1, '\n');
        break;
    case ObjectClass::Vector:
        out += 'b';
        appendLetters(out, value, declared.width);
        out.append(1, ' ').append(declared.code).append(1, '\n');
        break;
    case ObjectClass::Real: {
        double number = 0;
        std::memcpy(&number, value, sizeof number);
        out += 'r';
        appendReal(out, number);
        out.append(1, ' ').append(declared.code).append(1, '\n');
        break;
    }
    case ObjectClass::String:
        appendText(out, referenceAt(m_layout.addressOf(object)), declared.code);
        break;
    case ObjectClass::Event:
        for (auto left = takeFirings(object); left > 0; --left) {
            out += spell(kLetters[value[1] < kLetterCount ? value[1] : kLetterX]);
            out.append(declared.code).append(1, '\n');
        }
        break;
    }
}

} // namespace tracewell
