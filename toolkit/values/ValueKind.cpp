// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKind.h"

#include "values/VcdValues.h"

namespace tracewell {

bool ValueKind::isDeclaredBy(std::string_view, unsigned int) const
{
    return false;
}

void ValueKind::setUnknown(unsigned char*, unsigned int) const {}

Fit ValueKind::parse(ChangeForm form, std::string_view text, unsigned int, unsigned char*,
                     std::string& beside) const
{
    double number = 0;
    switch (form) {
    case ChangeForm::Letters:
        if (text.empty() || !areLetters(text)) {
            return Fit::Invalid;
        }
        beside = canonicalLetters(text, static_cast<unsigned int>(text.size()));
        return Fit::Beside;
    case ChangeForm::Real:
        if (toReal(text, number) == RealForm::Invalid) {
            return Fit::Invalid;
        }
        break;
    case ChangeForm::Text:
    case ChangeForm::Port:
        break;
    }
    beside = text;
    return Fit::Beside;
}

void ValueKind::spell(std::string&, const unsigned char*, unsigned int) const {}

std::string ValueKind::letters(const Plain&, unsigned int) const
{
    return {};
}

std::string ValueKind::show(const Plain& value) const
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < value.size; ++i) {
        text += kDigits[value.bytes[i] >> 4];
        text += kDigits[value.bytes[i] & 15];
    }
    return text;
}

std::optional<double> ValueKind::number(const Plain&) const
{
    return std::nullopt;
}

} // namespace tracewell
