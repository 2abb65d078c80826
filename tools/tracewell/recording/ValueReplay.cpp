#include "recording/ValueReplay.h"

#include "vcd/VcdCodes.h"
#include "vcd/VcdValues.h"

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

constexpr long long kSlotBytes = 8;

bool isByteWise(ObjectClass objectClass)
{
    return objectClass == ObjectClass::Scalar || objectClass == ObjectClass::Event;
}

} // namespace

ValueReplay::ValueReplay(const Declarations& declarations, const DataLayout& layout,
                         TextLookup& texts)
    : m_declarations(declarations), m_layout(layout), m_texts(texts),
      m_memory(static_cast<std::size_t>(layout.totalSize())), m_shown(m_memory.size()),
      m_isShown(declarations.objects.size()), m_isMarked(declarations.objects.size())
{
    const std::vector<Object>& objects = declarations.objects;
    m_byteStart = layout.overrideStart();
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (isByteWise(objects[i].objectClass)) {
            m_byteStart = std::min(m_byteStart, layout.addressOf(i));
        }
    }
    const long long slots = m_byteStart / kSlotBytes;
    m_objectAt.assign(static_cast<std::size_t>(slots + layout.overrideStart() - m_byteStart),
                      kNoObject);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const long long address = layout.addressOf(i);
        const long long size = DataLayout::sizeOf(objects[i]);
        const bool byteWise = isByteWise(objects[i].objectClass);
        const auto first =
            m_objectAt.begin() + (byteWise ? slots + address - m_byteStart : address / kSlotBytes);
        std::fill_n(first, byteWise ? size : size / kSlotBytes, static_cast<std::uint32_t>(i));
    }
}

void ValueReplay::apply(long long address, const unsigned char* value, unsigned int length)
{
    if (address < 0 || address >= m_layout.totalSize()) {
        return;
    }
    const long long end = std::min(address + length, m_layout.totalSize());
    std::memcpy(m_memory.data() + address, value, static_cast<std::size_t>(end - address));
    markRange(address, end);
}

void ValueReplay::markRange(long long address, long long end)
{
    const long long slots = m_byteStart / kSlotBytes;
    while (address < end) {
        if (address < m_byteStart) {
            mark(m_objectAt[static_cast<std::size_t>(address / kSlotBytes)]);
            address += kSlotBytes - address % kSlotBytes;
        } else if (address < m_layout.overrideStart()) {
            mark(m_objectAt[static_cast<std::size_t>(slots + address - m_byteStart)]);
            ++address;
        } else {
            mark(static_cast<std::uint32_t>((address - m_layout.overrideStart()) / kSlotBytes));
            address += kSlotBytes - address % kSlotBytes;
        }
    }
}

void ValueReplay::mark(std::uint32_t object)
{
    if (object != kNoObject && m_isMarked[object] == 0) {
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
        return std::memcmp(m_memory.data() + address, m_shown.data() + address,
                           static_cast<std::size_t>(size)) == 0;
    };
    const Object& declared = m_declarations.objects[object];
    if (m_isShown[object] == 0 || !same(m_layout.overrideOf(object), sizeof(TextReference))) {
        return true;
    }
    // The plain value under a text does not show; but an event that fires again does.
    const bool isCovered = referenceAt(m_layout.overrideOf(object)).kind != 0 &&
                           declared.objectClass != ObjectClass::Event;
    return !isCovered && !same(m_layout.addressOf(object), DataLayout::sizeOf(declared));
}

void ValueReplay::appendValue(std::string& out, std::size_t object)
{
    const std::string& code = m_declarations.objects[object].code;
    if (!appendText(out, referenceAt(m_layout.overrideOf(object)), code)) {
        appendPlain(out, object);
    }
    const auto show = [&](long long address, long long size) {
        std::memcpy(m_shown.data() + address, m_memory.data() + address,
                    static_cast<std::size_t>(size));
    };
    show(m_layout.addressOf(object), DataLayout::sizeOf(m_declarations.objects[object]));
    show(m_layout.overrideOf(object), sizeof(TextReference));
    m_isShown[object] = 1;
}

TextReference ValueReplay::referenceAt(long long address) const
{
    TextReference reference;
    std::memcpy(&reference, m_memory.data() + address, sizeof reference);
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
    out.append(*text).append(1, ' ').append(code).append(1, '\n');
    return true;
}

void ValueReplay::appendPlain(std::string& out, std::size_t object)
{
    const Object& declared = m_declarations.objects[object];
    const unsigned char* value = m_memory.data() + m_layout.addressOf(object);
    switch (declared.objectClass) {
    case ObjectClass::Scalar:
        out += kLetters[*value < kLetterCount ? *value : kLetterX];
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
    case ObjectClass::Event: {
        const unsigned char* before = m_shown.data() + m_layout.addressOf(object);
        for (auto left = static_cast<unsigned char>(value[0] - before[0]); left > 0; --left) {
            out += kLetters[value[1] < kLetterCount ? value[1] : kLetterX];
            out.append(declared.code).append(1, '\n');
        }
        break;
    }
    }
}

} // namespace tracewell
