// SPDX-License-Identifier: BSD-3-Clause

#include "search/Operands.h"

#include "changes/FourStateChange.h"
#include "values/VcdValues.h"

namespace tracewell {

SignalOperand& Operands::add(std::uint32_t object, unsigned int width)
{
    m_ordered.clear();
    std::unique_ptr<SignalOperand>& operand = m_operands[{object, width}];
    if (operand == nullptr) {
        operand = std::make_unique<SignalOperand>(object, width);
        if (m_declarations.objects[object].kind->fires()) {
            operand->bits.setNumber(0);
            m_haveEvents = true;
        }
    }
    return *operand;
}

std::vector<std::uint32_t> Operands::objects() const
{
    std::vector<std::uint32_t> objects;
    for (const auto& [key, operand] : m_operands) {
        if (objects.empty() || objects.back() != key.first) {
            objects.push_back(key.first);
        }
    }
    return objects;
}

bool Operands::refresh(ChangeStream& changes)
{
    if (m_ordered.empty()) {
        m_places.assign(m_declarations.objects.size(), 0);
        for (const auto& [key, operand] : m_operands) {
            m_ordered.push_back(operand.get());
            if (m_places[key.first] == 0) {
                m_places[key.first] = static_cast<std::uint32_t>(m_ordered.size());
            }
        }
        // Ends the search behind the last.
        m_ordered.push_back(nullptr);
    }
    bool isAny = false;
    for (const std::uint32_t object : changes.changed()) {
        if (m_places[object] == 0) {
            continue;
        }
        isAny = true;
        for (std::size_t i = m_places[object] - 1;
             m_ordered[i] != nullptr && m_ordered[i]->object == object; ++i) {
            take(changes, *m_ordered[i]);
        }
    }
    return isAny;
}

void Operands::forgetFirings()
{
    for (SignalOperand* const operand : m_fired) {
        operand->hasFired = false;
        operand->bits.setNumber(0);
    }
    m_fired.clear();
}

void Operands::take(ChangeStream& changes, SignalOperand& operand)
{
    const Object& declared = m_declarations.objects[operand.object];
    const ValueKind& kind = *declared.kind;
    if (kind.fires()) {
        operand.hasFired = changes.firings(operand.object) > 0;
        operand.bits.setNumber(operand.hasFired ? 1 : 0);
        if (operand.hasFired) {
            m_fired.push_back(&operand);
        }
        return;
    }
    if (kind.hasBits()) {
        takeFourState(changes, operand.object, operand.bits, m_text);
        return;
    }
    const unsigned char* const plain = changes.plainValue(operand.object);
    if (plain != nullptr && kind.isNumber()) {
        operand.real = kind.number({plain, kind.sizeOf(declared.width), 0, true});
        return;
    }
    m_text.clear();
    changes.appendValue(m_text, operand.object);
    if (m_text.empty()) {
        return;
    }
    // Behind the letter that says what it is.
    const std::string value = m_text.substr(1);
    double number = 0;
    if (kind.isText()) {
        operand.text = value;
    } else if (toReal(value, number) != RealForm::Invalid) {
        operand.real = number;
    }
}

} // namespace tracewell
