// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"

#include <cstring>

namespace tracewell {

namespace {

class BytesKind : public ValueKind
{
public:
    constexpr BytesKind() : ValueKind("bytes", {Part::Wide, false, false, false, true}) {}

    std::size_t sizeOf(unsigned int width) const override { return (std::size_t{width} + 7) / 8; }
    std::uint32_t objectsOf(unsigned int) const override { return 0; }
};

class ObjectKind : public ValueKind
{
public:
    constexpr ObjectKind() : ValueKind("object", {Part::Wide, false, false, true, true}) {}

    std::size_t sizeOf(unsigned int) const override { return sizeof(std::int64_t); }
    std::uint32_t objectsOf(unsigned int) const override { return 1; }

    std::string show(const Plain& value) const override
    {
        return value.isReal ? kReal.show(value) : std::to_string(integer(value));
    }
    std::size_t usualColumns() const override { return 1; }
    std::optional<double> number(const Plain& value) const override
    {
        return value.isReal ? kReal.number(value)
                            : std::optional(static_cast<double>(integer(value)));
    }
    bool isReal(const Plain& value) const override { return value.isReal; }

private:
    static std::int64_t integer(const Plain& value)
    {
        std::int64_t number = 0;
        if (value.size >= sizeof number) {
            std::memcpy(&number, value.bytes, sizeof number);
        }
        return number;
    }
};

constexpr BytesKind kBytesKind;
constexpr ObjectKind kObjectKind;

} // namespace

const ValueKind& kBytes = kBytesKind;
const ValueKind& kObject = kObjectKind;

} // namespace tracewell
