// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/ghw/GhwInput.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace tracewell {

/// A range of indices, or of values.
struct GhwRange
{
    std::int64_t left = 0;
    std::int64_t right = 0;
    bool isDownward = false;

    /// How many are in it; bounded.
    std::uint64_t length() const;
};

/// A type of VHDL as the file tells it.
struct GhwType
{
    enum class Kind { Enumeration, Integer, Long, Real, Array, Record };

    struct Field
    {
        std::string name;
        const GhwType* type = nullptr;
    };

    Kind kind = Kind::Integer;
    std::string name;
    /// Of an enumeration.
    std::vector<std::string> literals;
    /// Letters of nine states, by their literals.
    bool isLogic = false;
    /// '0' and '1'.
    bool isBit = false;
    bool isCharacter = false;
    /// Of an array: its element, and a range for each dimension. Empty while these are not known.
    const GhwType* element = nullptr;
    std::size_t dimensions = 0;
    std::vector<GhwRange> ranges;
    std::vector<Field> fields;
    /// How many scalars a value has; kUnbounded while that is not known. Bounded.
    std::uint64_t scalars = 1;

    static constexpr std::uint64_t kUnbounded = ~std::uint64_t{0};
    static constexpr std::uint64_t kMostScalars = std::uint64_t{1} << 40;
};

/// The strings and types in front of a GHW file's signals.
class GhwTypes
{
public:
    explicit GhwTypes(GhwInput& input) : m_input(input) {}

    // Behind the tags of the sections.
    // \throws Failure, GhwInput::CutOff

    void readStrings();
    void readTypes();
    /// Which types the language knows; nothing that their literals do not tell.
    void readWellKnown();

    /// By the number that comes next.
    const std::string& readName();
    const GhwType& readReference();
    /// A value of a scalar type, in eight bytes: an integer, or the bits of a real.
    std::int64_t readValue(const GhwType& type);

private:
    void readZeros();
    GhwType readType();
    GhwType readEnumeration();
    GhwRange readRange();
    void takeBounds(GhwType& type, const GhwType& base);
    const GhwType* boundsOf(const GhwType& base, unsigned int depth);
    void count(GhwType& type) const;
    const GhwType& charged(const GhwType& type);

    GhwInput& m_input;
    std::vector<std::string> m_strings;
    /// They refer to each other, so they stay where they are.
    std::deque<GhwType> m_types;
    std::vector<const GhwType*> m_byNumber;
    /// Literals and fields that were copied from type to type.
    std::size_t m_copied = 0;
};

} // namespace tracewell
