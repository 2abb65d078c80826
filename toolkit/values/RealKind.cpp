// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <cstring>
#include <limits>

namespace tracewell {

namespace {

class RealKind : public ValueKind
{
public:
    constexpr RealKind() : ValueKind("real", {Part::Wide, false, false, true, false}) {}

    bool isDeclaredBy(std::string_view keyword, unsigned int) const override
    {
        return keyword == "real" || keyword == "realtime" || keyword == "real_parameter" ||
               keyword == "shortreal";
    }

    std::size_t sizeOf(unsigned int) const override { return sizeof(double); }
    void setUnknown(unsigned char* value, unsigned int) const override
    {
        const double none = std::numeric_limits<double>::quiet_NaN();
        std::memcpy(value, &none, sizeof none);
    }
    std::uint32_t objectsOf(unsigned int) const override { return 1; }

    Fit parse(ChangeForm form, std::string_view text, unsigned int width, unsigned char* value,
              std::string& beside) const override
    {
        if (form != ChangeForm::Real) {
            return ValueKind::parse(form, text, width, value, beside);
        }
        double number = 0;
        const RealForm real = toReal(text, number);
        if (real == RealForm::Invalid) {
            return Fit::Invalid;
        }
        std::memcpy(value, &number, sizeof number);
        beside = text;
        return real == RealForm::Exact ? Fit::Exact : Fit::Nearest;
    }

    void spell(std::string& out, const unsigned char* value, unsigned int) const override
    {
        out += 'r';
        appendReal(out, doubleAt(value));
    }

    std::string show(const Plain& value) const override
    {
        return fmt::format("{}", number(value).value_or(0.0));
    }
    std::size_t usualColumns() const override { return 10; }
    std::optional<double> number(const Plain& value) const override
    {
        return value.size < sizeof(double) ? 0.0 : doubleAt(value.bytes);
    }
    bool isReal(const Plain&) const override { return true; }

private:
    static double doubleAt(const unsigned char* value)
    {
        double number = 0;
        std::memcpy(&number, value, sizeof number);
        return number;
    }
};

constexpr RealKind kKind;

} // namespace

const ValueKind& kReal = kKind;

} // namespace tracewell
