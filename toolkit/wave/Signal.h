// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tracewell {

/// How the letters of a vector are written. Automatic is the name of a value that
/// has one; else decimal for the kinds that count (integer, int, time, parameter, ...) and
/// hexadecimal for others; Decimal has a sign where the kind has
/// one, Signed always; Ascii is a text of a character for every eight bits.
enum class Radix { Automatic, Binary, Octal, Decimal, Hexadecimal, Signed, Ascii };

/// Whether a picture shows a signal's numbers as a curve.
enum class Curve { None, Steps, Line };

/// One thing that a reading command shows: a variable of the name table, or a run of bytes that
/// was asked for by its address.
struct Signal
{
    /// Full name, fit for output; "#2" and so on behind it where variables share a name.
    std::string label;
    /// The scopes' part of the label, with the "." behind it; empty for bytes.
    std::string scope;
    /// The keyword of the declaration; "bytes" or "object" without one.
    std::string kind;
    /// Of a port: in, out, inout, buffer, linkage.
    std::string direction;
    /// The name of its type in the source, where that is known.
    std::string type;
    /// Of some bits of a vector: the label of the whole one. Empty otherwise.
    std::string whole;
    const ValueKind* valueKind = &kBytes;
    /// How many bits the signal has; 1 for what has none.
    unsigned int width = 1;
    long long address = 0;
    /// Bytes of the plain value at `address`.
    long long size = 1;
    /// In the plain value, below the first bit that the signal has.
    unsigned int bitsBefore = 0;
    // Of some bits of a vector in a data memory: what an override tells is the whole one.
    unsigned int wholeWidth = 0;
    unsigned int firstOfWhole = 0;
    /// Where the override lies; below 0 when there can be none.
    long long overrideAddress = -1;
    /// A vector whose leftmost bit is a sign.
    bool isSigned = false;
    /// Names of its values, in the recording's table; may be null.
    const Enumeration* enumeration = nullptr;
    Radix radix = Radix::Automatic;
    Curve curve = Curve::None;
    // In a transition database, in place of the addresses.
    std::uint32_t firstId = 0;
    std::uint32_t idCount = 0;
    /// From a bit's number to that of its nine-state object; 0 when there can be none.
    std::uint32_t nineStateOffset = 0;

    /// One letter at a time: drawn as a level and not as a bus.
    bool isDigital() const { return valueKind->hasBits() && width == 1; }
    /// The bytes of the signal hold bits that are none of its own.
    bool sharesBytes() const { return wholeWidth > 0; }
};

/// What is known of a signal from a time on.
struct SignalState
{
    enum class Kind {
        Blank, ///< no value was recorded yet
        Dense, ///< more changes than the resolution shows
        Value
    };

    Kind kind = Kind::Blank;
    /// The bytes at Signal::address. Of an object, 8 bytes: an integer, or a double if isReal.
    std::vector<unsigned char> plain;
    bool isReal = false;
    /// All zero while the plain value tells all.
    TextReference override;
    /// The letters of a vector, the leftmost first, where the plain value cannot tell them and no
    /// override does; empty otherwise.
    std::string letters;
    /// Of an event: how often it fired at this very time.
    unsigned int firings = 0;

    ValueKind::Plain plainValue() const { return {plain.data(), plain.size(), firings, isReal}; }
};

} // namespace tracewell
