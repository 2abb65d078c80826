// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"
#include "values/VcdValues.h"

namespace tracewell {

namespace {

class EventKind : public ValueKind
{
public:
    constexpr EventKind() : ValueKind("event", {Part::Firings, false, false, false, false}) {}

    bool isDeclaredBy(std::string_view keyword, unsigned int) const override
    {
        return keyword == "event";
    }

    std::size_t sizeOf(unsigned int) const override { return 2; }
    std::uint32_t objectsOf(unsigned int) const override { return 1; }

    Fit parse(ChangeForm form, std::string_view text, unsigned int width, unsigned char* value,
              std::string& beside) const override
    {
        const Fit fit = ValueKind::parse(form, text, width, value, beside);
        if (fit != Fit::Beside || form != ChangeForm::Letters) {
            return fit;
        }
        beside = canonicalLetters(beside, 1);
        value[1] = letterCode(beside.back());
        return beside.size() == 1 ? Fit::Exact : Fit::Nearest;
    }

    void spell(std::string& out, const unsigned char* value, unsigned int) const override
    {
        out += spelledLetter(letterOf(value[1]));
    }

    std::string show(const Plain& value) const override
    {
        return value.firings == 0   ? std::string()
               : value.firings == 1 ? std::string("!")
                                    : "!x" + std::to_string(value.firings);
    }
    std::size_t usualColumns() const override { return 1; }
};

constexpr EventKind kKind;

} // namespace

const ValueKind& kEvent = kKind;

} // namespace tracewell
