// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"
#include "values/VcdValues.h"

namespace tracewell {

namespace {

class ScalarKind : public ValueKind
{
public:
    constexpr ScalarKind() : ValueKind("scalar", {Part::Letters, true, false, false, false}) {}

    // What no other kind wants, so it comes last in the table.
    bool isDeclaredBy(std::string_view, unsigned int) const override { return true; }

    std::size_t sizeOf(unsigned int) const override { return 1; }
    void setUnknown(unsigned char* value, unsigned int) const override { *value = kLetterX; }
    std::uint32_t objectsOf(unsigned int) const override { return 1; }

    Fit parse(ChangeForm form, std::string_view text, unsigned int width, unsigned char* value,
              std::string& beside) const override
    {
        const Fit fit = ValueKind::parse(form, text, width, value, beside);
        if (fit == Fit::Beside && form == ChangeForm::Letters) {
            beside = canonicalLetters(beside, 1);
            const std::uint8_t code = letterCode(beside.back());
            *value = beside.size() == 1 ? code : nearestFourState(code);
            return beside.size() == 1 ? Fit::Exact : Fit::Nearest;
        }
        if (form == ChangeForm::Port) {
            if (const std::string states = portLetters(text); !states.empty()) {
                *value = letterCode(states.back());
                return Fit::Nearest;
            }
        }
        return fit;
    }

    void spell(std::string& out, const unsigned char* value, unsigned int) const override
    {
        out += spelledLetter(letterOf(*value));
    }

    std::string letters(const Plain& value, unsigned int) const override
    {
        return value.size == 0 ? std::string() : std::string(1, letterOf(*value.bytes));
    }
};

constexpr ScalarKind kKind;

} // namespace

const ValueKind& kScalar = kKind;

} // namespace tracewell
