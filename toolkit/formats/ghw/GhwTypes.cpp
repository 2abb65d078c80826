// SPDX-License-Identifier: BSD-3-Clause

#include "formats/ghw/GhwTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tracewell {

namespace {

// Kinds of types.
constexpr unsigned int kTwoValues = 22;
constexpr unsigned int kEnumeration = 23;
constexpr unsigned int kInteger = 25;
constexpr unsigned int kLong = 26;
constexpr unsigned int kReal = 27;
constexpr unsigned int kPhysical = 28;
constexpr unsigned int kLongPhysical = 29;
constexpr unsigned int kArray = 31;
constexpr unsigned int kRecord = 32;
constexpr unsigned int kScalarSubtype = 34;
constexpr unsigned int kArraySubtype = 35;
constexpr unsigned int kUnboundedArraySubtype = 37;
constexpr unsigned int kRecordSubtype = 38;
constexpr unsigned int kUnboundedRecordSubtype = 39;

/// Types within types.
constexpr unsigned int kDeepest = 64;
constexpr std::size_t kMostDimensions = 64;
constexpr std::size_t kMostStringBytes = std::size_t{1} << 30;

constexpr const char* kAnonymous = "<anon>";

} // namespace

std::uint64_t GhwRange::length() const
{
    const std::int64_t low = isDownward ? right : left;
    const std::int64_t high = isDownward ? left : right;
    if (low > high) {
        return 0;
    }
    const std::uint64_t distance =
        static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low);
    return std::min(distance, GhwType::kMostScalars) + 1;
}

void GhwTypes::readZeros()
{
    if (m_input.number32() != 0) {
        m_input.fail("a section begins in a way that no version of the format has; the file is "
                     "damaged, dump it again");
    }
}

/// Each has some letters of the one before, and then its own, up to a byte that tells how many the
/// next one has of it.
void GhwTypes::readStrings()
{
    readZeros();
    const std::uint32_t count = m_input.number32();
    m_input.number32();
    m_strings.assign(1, kAnonymous);
    std::size_t shared = 0;
    std::size_t total = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string& before = m_strings.back();
        std::string text =
            i == 0 ? std::string() : before.substr(0, std::min(shared, before.size()));
        unsigned char next = m_input.byte();
        while (!(next <= 31 || (next >= 128 && next <= 159))) {
            text += static_cast<char>(next);
            next = m_input.byte();
        }
        shared = next & 31U;
        for (unsigned int shift = 5; next >= 128 && shift < 32; shift += 5) {
            next = m_input.byte();
            shared |= std::size_t{next & 31U} << shift;
        }
        total += text.size() + 1;
        if (total > kMostStringBytes) {
            m_input.fail("its names take more than 1 GiB; the file is damaged, dump it again");
        }
        m_strings.push_back(std::move(text));
    }
    if (m_input.tag() != "EOS") {
        m_input.fail("the names do not end where they should; the file is damaged, dump it again");
    }
}

const std::string& GhwTypes::readName()
{
    const std::uint64_t number = m_input.uleb();
    if (number >= m_strings.size()) {
        m_input.fail("a name that there is not; the file is damaged, dump it again");
    }
    return m_strings[static_cast<std::size_t>(number)];
}

const GhwType& GhwTypes::readReference()
{
    const std::uint64_t number = m_input.uleb();
    if (number == 0 || number > m_byNumber.size()) {
        m_input.fail("a type that there is not; the file is damaged, dump it again");
    }
    return *m_byNumber[static_cast<std::size_t>(number - 1)];
}

void GhwTypes::readTypes()
{
    readZeros();
    const std::uint32_t count = m_input.number32();
    for (std::uint32_t i = 0; i < count; ++i) {
        m_types.push_back(readType());
        m_byNumber.push_back(&m_types.back());
    }
    if (m_input.byte() != 0) {
        m_input.fail("the types do not end where they should; the file is damaged, dump it again");
    }
}

GhwType GhwTypes::readType()
{
    const unsigned int kind = m_input.byte();
    if (kind == kTwoValues || kind == kEnumeration) {
        return readEnumeration();
    }
    GhwType type;
    const std::string name = readName();
    switch (kind) {
    case kInteger:
        break;
    case kLong:
        type.kind = GhwType::Kind::Long;
        break;
    case kReal:
        type.kind = GhwType::Kind::Real;
        break;
    case kPhysical:
    case kLongPhysical:
        type.kind = kind == kPhysical ? GhwType::Kind::Integer : GhwType::Kind::Long;
        for (std::uint64_t units = m_input.uleb(); units > 0; --units) {
            readName();
            m_input.uleb();
        }
        break;
    case kArray:
        type.kind = GhwType::Kind::Array;
        type.element = &readReference();
        type.dimensions = static_cast<std::size_t>(std::min<std::uint64_t>(m_input.uleb(), 1000));
        if (type.dimensions == 0 || type.dimensions > kMostDimensions) {
            m_input.fail("an array of too many dimensions; the file is damaged, dump it again");
        }
        for (std::size_t i = 0; i < type.dimensions; ++i) {
            readReference();
        }
        type.scalars = GhwType::kUnbounded;
        break;
    case kRecord:
        type.kind = GhwType::Kind::Record;
        for (std::uint64_t fields = m_input.uleb(); fields > 0; --fields) {
            const std::string& field = readName();
            type.fields.push_back({field, &readReference()});
        }
        count(type);
        break;
    case kScalarSubtype:
        type = charged(readReference());
        readRange();
        break;
    case kArraySubtype:
    case kRecordSubtype:
        takeBounds(type, readReference());
        break;
    case kUnboundedArraySubtype:
    case kUnboundedRecordSubtype:
        type = charged(readReference());
        break;
    default:
        m_input.fail(fmt::format("a type of kind {}, which is not known; the file is damaged, or "
                                 "comes from a later version",
                                 kind));
    }
    if (name != kAnonymous) {
        type.name = name;
    }
    return type;
}

GhwType GhwTypes::readEnumeration()
{
    GhwType type;
    type.kind = GhwType::Kind::Enumeration;
    type.name = readName();
    const std::uint64_t count = m_input.uleb();
    for (std::uint64_t i = 0; i < count; ++i) {
        type.literals.push_back(readName());
    }
    constexpr std::size_t kCharacters = 256;
    static const std::vector<std::string> kLogic = {"'U'", "'X'", "'0'", "'1'", "'Z'",
                                                    "'W'", "'L'", "'H'", "'-'"};
    type.isLogic = type.literals == kLogic;
    type.isBit = type.literals == std::vector<std::string>{"'0'", "'1'"};
    type.isCharacter = type.name == "character" && count == kCharacters;
    return type;
}

GhwRange GhwTypes::readRange()
{
    const unsigned int kind = m_input.byte();
    GhwRange range;
    range.isDownward = (kind & 0x80) != 0;
    switch (kind & 0x7f) {
    case kTwoValues:
    case kEnumeration:
        range.left = m_input.byte();
        range.right = m_input.byte();
        break;
    case kInteger:
    case kPhysical:
    case kLong:
    case kLongPhysical:
        range.left = m_input.sleb();
        range.right = m_input.sleb();
        break;
    case kReal:
        m_input.real();
        m_input.real();
        break;
    default:
        m_input.fail("a range of no kind that is known; the file is damaged, dump it again");
    }
    return range;
}

/// The bounds of an array or record that has none, or of what is in it.
void GhwTypes::takeBounds(GhwType& type, const GhwType& base)
{
    type = charged(*boundsOf(base, 0));
}

const GhwType* GhwTypes::boundsOf(const GhwType& base, unsigned int depth)
{
    if (depth == kDeepest) {
        m_input.fail("types within types without end; the file is damaged, dump it again");
    }
    GhwType type = charged(base);
    if (base.kind == GhwType::Kind::Array) {
        type.ranges.clear();
        for (std::size_t i = 0; i < base.dimensions; ++i) {
            type.ranges.push_back(readRange());
        }
        if (base.element->scalars == GhwType::kUnbounded) {
            type.element = boundsOf(*base.element, depth + 1);
        }
    } else if (base.kind == GhwType::Kind::Record) {
        for (GhwType::Field& field : type.fields) {
            if (field.type->scalars == GhwType::kUnbounded) {
                field.type = boundsOf(*field.type, depth + 1);
            }
        }
    } else {
        m_input.fail("bounds of a scalar; the file is damaged, dump it again");
    }
    count(type);
    m_types.push_back(std::move(type));
    return &m_types.back();
}

/// A few bytes copy a type of many literals or fields.
const GhwType& GhwTypes::charged(const GhwType& type)
{
    constexpr std::size_t kMostCopied = 50'000'000;
    m_copied += type.literals.size() + type.fields.size() + 1;
    if (m_copied > kMostCopied) {
        m_input.fail("types of too many parts; the file is damaged, dump it again");
    }
    return type;
}

void GhwTypes::count(GhwType& type) const
{
    const auto limit = [&](std::uint64_t scalars) {
        if (scalars > GhwType::kMostScalars) {
            m_input.fail("a type of too many elements; the file is damaged, dump it again");
        }
        return scalars;
    };
    if (type.kind == GhwType::Kind::Array) {
        std::uint64_t elements = 1;
        for (const GhwRange& range : type.ranges) {
            std::uint64_t product = 0;
            if (__builtin_mul_overflow(elements, range.length(), &product)) {
                product = GhwType::kUnbounded;
            }
            elements = limit(product);
        }
        std::uint64_t all = 0;
        if (__builtin_mul_overflow(elements, type.element->scalars, &all)) {
            all = GhwType::kUnbounded;
        }
        type.scalars = limit(all);
        return;
    }
    type.scalars = 0;
    for (const GhwType::Field& field : type.fields) {
        if (field.type->scalars == GhwType::kUnbounded) {
            type.scalars = GhwType::kUnbounded;
            return;
        }
        type.scalars = limit(type.scalars + field.type->scalars);
    }
}

void GhwTypes::readWellKnown()
{
    readZeros();
    while (m_input.byte() != 0) {
        readReference();
    }
}

std::int64_t GhwTypes::readValue(const GhwType& type)
{
    switch (type.kind) {
    case GhwType::Kind::Enumeration:
        return m_input.byte();
    case GhwType::Kind::Integer:
    case GhwType::Kind::Long:
        return m_input.sleb();
    case GhwType::Kind::Real: {
        const double number = m_input.real();
        std::int64_t bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        return bits;
    }
    case GhwType::Kind::Array:
    case GhwType::Kind::Record:
        break;
    }
    m_input.fail("a value of a type that is no scalar; the file is damaged, dump it again");
}

} // namespace tracewell
