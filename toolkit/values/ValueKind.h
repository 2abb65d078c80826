// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tracewell {

/// How a value change names its value.
enum class ChangeForm : char {
    Letters = 'b', ///< letters of nine states, the leftmost first
    Real = 'r',    ///< a number
    Text = 's',    ///< a text as it is
    Port = 'p'     ///< states and both strengths of an extended VCD: "DDUU 66 00"
};

/// How well a value change fits the plain value of its kind.
enum class Fit {
    Exact,   ///< the plain value tells all
    Nearest, ///< the plain value is the nearest one; a text beside it tells all
    Beside,  ///< no plain value is near: the text beside it tells all
    Invalid  ///< no value in that form
};

/// A kind of value: how it is declared, lies in memory and in transition objects, is read from a
/// value change, spelled, and shown. One object each, without state, told apart by address; the
/// table of them is in ValueKinds.cpp. What a store or a reader does with a value follows from the
/// properties here, never from which kind it is, so that a new kind is a file and a row.
class ValueKind
{
public:
    /// The plain values of a data memory lie in this order.
    enum class Part : std::uint8_t {
        Wide,    ///< eight bytes and multiples of them
        Firings, ///< those that fire
        Letters  ///< one byte each
    };

    /// A plain value, and what a reader knows beside it.
    struct Plain
    {
        const unsigned char* bytes = nullptr;
        std::size_t size = 0;
        /// How often it fired at this very time.
        unsigned int firings = 0;
        /// Of a transition object without a declaration: it holds a double and no integer.
        bool isReal = false;
    };

    struct Traits
    {
        Part part = Part::Wide;
        bool hasBits = false;
        bool isText = false;
        bool isNumber = false;
        bool isRaw = false;
    };

    constexpr ValueKind(std::string_view name, Traits traits) : m_name(name), m_traits(traits) {}
    ValueKind(const ValueKind&) = delete;
    ValueKind& operator=(const ValueKind&) = delete;

    std::string_view name() const { return m_name; }

    // Properties.

    /// Letters of bits: a level, a bus.
    bool hasBits() const { return m_traits.hasBits; }
    /// One letter alone, by its code.
    bool isLetter() const { return m_traits.part == Part::Letters; }
    /// A count that goes up with each firing, and the letter's code that came with it: each firing
    /// is a change, whatever the value.
    bool fires() const { return m_traits.part == Part::Firings; }
    /// The plain value is a TextReference.
    bool isText() const { return m_traits.isText; }
    /// A number that has no letters of bits.
    bool isNumber() const { return m_traits.isNumber; }
    /// Bytes that nobody declared.
    bool isRaw() const { return m_traits.isRaw; }

    // Declared.

    /// Whether a variable with this keyword and so many bits is of the kind.
    virtual bool isDeclaredBy(std::string_view keyword, unsigned int width) const;

    // In the data memory.

    Part part() const { return m_traits.part; }
    /// Bytes of the plain value.
    virtual std::size_t sizeOf(unsigned int width) const = 0;
    /// The plain value of an object of which nothing is known. One that fires has none.
    virtual void setUnknown(unsigned char* value, unsigned int width) const;

    // In a transition database.

    /// How many transition objects the value takes; 0 where such a database cannot hold it.
    virtual std::uint32_t objectsOf(unsigned int width) const = 0;

    // In a value change.

    /// Reads the plain value into `value`, which stays as it is for Beside and Invalid. `beside`
    /// takes the text that tells all, for Nearest and Beside. What is told here is what a kind does
    /// with forms that are not its own: all that is valid is Beside.
    virtual Fit parse(ChangeForm form, std::string_view text, unsigned int width,
                      unsigned char* value, std::string& beside) const;
    /// Appends the plain value as it stands in front of the code: "1", "b0x1", "r2.5". Nothing for
    /// texts.
    virtual void spell(std::string& out, const unsigned char* value, unsigned int width) const;

    // For a person.

    /// The letters of all bits, the leftmost first; empty for a kind without bits.
    virtual std::string letters(const Plain& value, unsigned int width) const;
    /// What is shown of a value that has no bits and no text.
    virtual std::string show(const Plain& value) const;
    /// Columns that such a value takes as a rule; 0 where the value itself tells.
    virtual std::size_t usualColumns() const { return 0; }
    /// The number that the plain value is; none for kinds that are no number.
    virtual std::optional<double> number(const Plain& value) const;
    /// Whether that number has digits behind the point.
    virtual bool isReal(const Plain&) const { return false; }

protected:
    ~ValueKind() = default;

private:
    std::string_view m_name;
    Traits m_traits;
};

} // namespace tracewell
