// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"
#include "values/VcdValues.h"

#include <cstring>

namespace tracewell {

namespace {

class VectorKind : public ValueKind
{
public:
    constexpr VectorKind() : ValueKind("vector", {Part::Wide, true, false, false, false}) {}

    bool isDeclaredBy(std::string_view, unsigned int width) const override { return width > 1; }

    std::size_t sizeOf(unsigned int width) const override { return groupBytes(width); }
    void setUnknown(unsigned char* value, unsigned int width) const override
    {
        toGroups("x", width, value);
    }
    std::uint32_t objectsOf(unsigned int width) const override { return width; }

    Fit parse(ChangeForm form, std::string_view text, unsigned int width, unsigned char* value,
              std::string& beside) const override
    {
        if (form == ChangeForm::Letters) {
            switch (toGroups(text, width, value)) {
            case VectorForm::Exact:
                return Fit::Exact;
            case VectorForm::Nearest:
                beside = canonicalLetters(text, width);
                return Fit::Nearest;
            case VectorForm::Invalid:
                return Fit::Invalid;
            }
        }
        const Fit fit = ValueKind::parse(form, text, width, value, beside);
        if (form == ChangeForm::Port) {
            if (const std::string states = portLetters(text); !states.empty()) {
                toGroups(states, width, value);
                return Fit::Nearest;
            }
        }
        return fit;
    }

    void spell(std::string& out, const unsigned char* value, unsigned int width) const override
    {
        out += 'b';
        appendLetters(out, value, width);
    }

    std::string letters(const Plain& value, unsigned int width) const override
    {
        std::string letters(width, kLetters[0]);
        for (unsigned int bit = 0; bit < width; ++bit) {
            const std::size_t group = 8 * std::size_t{bit / 32};
            if (group + 8 > value.size) {
                break;
            }
            std::uint32_t words[2];
            std::memcpy(words, value.bytes + group, sizeof words);
            letters[width - 1 - bit] =
                kLetters[(words[0] >> bit % 32 & 1) + 2 * (words[1] >> bit % 32 & 1)];
        }
        return letters;
    }
};

constexpr VectorKind kKind;

} // namespace

const ValueKind& kVector = kKind;

} // namespace tracewell
