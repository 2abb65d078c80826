// SPDX-License-Identifier: BSD-3-Clause

#pragma once

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

    unsigned int width() const { return m_width; }
    std::size_t words() const { return m_words.size() / 2; }
    std::uint64_t* a() { return m_words.data(); }
    const std::uint64_t* a() const { return m_words.data(); }
    std::uint64_t* b() { return m_words.data() + words(); }
    const std::uint64_t* b() const { return m_words.data() + words(); }

    /// 0 to 3, as above; 3 beyond the width.
    unsigned int bit(unsigned int index) const;
    void setBit(unsigned int index, unsigned int state);
    void fill(unsigned int state);
    /// The number, cut to the width.
    void setNumber(std::uint64_t number);
    void setTruth(Truth truth);
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
    Truth truth() const;
    /// None with an unknown bit, and for what is beyond the type.
    std::optional<long long> number(bool isSigned) const;
    /// Unknown bits count as 0.
    double real(bool isSigned) const;
    /// Bit for bit, x and z too. Of one width.
    bool isSame(const FourState& other) const { return m_words == other.m_words; }

private:
    unsigned int m_width;
    std::vector<std::uint64_t> m_words;
};

} // namespace tracewell
