// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tracewell {

/// What a condition comes to.
enum class Truth { No, Yes, Unknown };

/// A vector of four-state bits of a width that does not change: words of 64, bit 0 first. a + 2 b
/// of a bit is 0, 1, 2 (z) or 3 (x); bits beyond the width are 0 in both.
class FourState
{
public:
    static constexpr unsigned int kBitsOfWord = 64;

    /// All x.
    explicit FourState(unsigned int width);
    FourState() : FourState(1) {}
    /// The characters, eight bits each, the last one lowest; one of 0 for an empty text.
    static FourState ofText(std::string_view text);

    unsigned int width() const { return m_width; }
    std::size_t words() const { return m_count; }
    std::uint64_t* a() { return m_count == 1 ? m_few.data() : m_many.data(); }
    const std::uint64_t* a() const { return m_count == 1 ? m_few.data() : m_many.data(); }
    std::uint64_t* b() { return a() + m_count; }
    const std::uint64_t* b() const { return a() + m_count; }

    /// 0 to 3, as above; 3 beyond the width.
    unsigned int bit(unsigned int index) const;
    void setBit(unsigned int index, unsigned int state);
    void fill(unsigned int state);
    /// The number, cut to the width.
    void setNumber(std::uint64_t number);
    /// Of one bit.
    void setTruth(Truth truth)
    {
        a()[0] = truth == Truth::No ? 0 : 1;
        b()[0] = truth == Truth::Unknown ? 1 : 0;
    }
    /// Letters of 0 1 x z in either case, the leftmost first, and the others of nine states as the
    /// nearest of these. As many as there are bits.
    void setLetters(std::string_view letters);
    /// The groups of a vector in a data memory (see VcdValues.h), of which there are enough.
    void setGroups(const unsigned char* groups);
    /// Takes another one's bits in, from its lowest on; those that it lacks are 0, or its leftmost
    /// one where `isSigned`.
    void setExtended(const FourState& other, bool isSigned);
    /// Puts another one's bits from bit `first` on; there is room for them.
    void setBits(unsigned int first, const FourState& other);
    /// Takes all its bits from another one, from bit `first` of that on; x where there is none.
    void setSelected(const FourState& other, long long first);
    /// Zeroes what the words hold beyond the width.
    void trim();

    bool isUnknown() const;
    /// Yes where a bit is 1; No where all are 0.
    Truth truth() const
    {
        std::uint64_t unknown = 0;
        for (std::size_t i = 0; i < m_count; ++i) {
            if ((a()[i] & ~b()[i]) != 0) {
                return Truth::Yes;
            }
            unknown |= b()[i];
        }
        return unknown != 0 ? Truth::Unknown : Truth::No;
    }
    /// None with an unknown bit, and for what is beyond the type.
    std::optional<long long> number(bool isSigned) const;
    /// Unknown bits count as 0.
    double real(bool isSigned) const;
    /// Bit for bit, x and z too. Of one width.
    bool isSame(const FourState& other) const
    {
        return m_few == other.m_few && m_many == other.m_many;
    }

private:
    unsigned int m_width;
    std::size_t m_count;
    // All of a, then all of b: where each is one word, without memory of their own.
    std::array<std::uint64_t, 2> m_few{};
    std::vector<std::uint64_t> m_many;
};

} // namespace tracewell
