// SPDX-License-Identifier: BSD-3-Clause

#include "values/TextReference.h"
#include "values/ValueKinds.h"

#include <cstring>

namespace tracewell {

namespace {

// What it says lies in the string map, so who has that reads and spells it.
class StringKind : public ValueKind
{
public:
    constexpr StringKind() : ValueKind("string", {Part::Wide, false, true, false, false}) {}

    bool isDeclaredBy(std::string_view keyword, unsigned int) const override
    {
        return keyword == "string";
    }

    std::size_t sizeOf(unsigned int) const override { return sizeof(TextReference); }
    void setUnknown(unsigned char* value, unsigned int) const override
    {
        std::memset(value, 0, sizeof(TextReference));
    }
    std::uint32_t objectsOf(unsigned int) const override { return 0; }
    std::size_t usualColumns() const override { return 10; }
};

constexpr StringKind kKind;

} // namespace

const ValueKind& kString = kKind;

} // namespace tracewell
