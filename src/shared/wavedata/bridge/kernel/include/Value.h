// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstring>

namespace Tracewell {

/// What a Value holds, and the form in which a transition database stores it.
enum ValueType : unsigned int {
    /// There is no transition at the time asked for.
    ValueNone = 0,
    ValueByte = 1,
    ValueInt32 = 2,
    /// Kept in a Value, not storable: a database keeps the tag alone, as for ValueUInt64 and
    /// ValueString.
    ValueUInt32 = 3,
    ValueInt64 = 4,
    ValueUInt64 = 5,
    ValueDouble = 6,
    ValueString = 7,
    /// In drawing results only: the start or the end of a run too close to draw.
    ValueDense = 8,
    // Storage forms, taken as input; query results give them as ValueByte.
    /// One bit, 0 or 1.
    ValueBit = 10,
    /// 2 bits: low plane plus twice the high plane of a four-state value.
    ValueVlog = 11,
    /// 4 bits: a nine-state value, 2 for logic zero and 3 for logic one.
    ValueStdLogic = 12,
};

/// A tagged value. A text is an owned copy; every other kind is plain.
class TRACEWELL_API Value
{
public:
    /// What every typed store puts into the aux word.
    static constexpr unsigned int kTypedAux = 2;

    Value() = default;
    Value(const Value& other);
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value() { clear(); }

    /// Makes the value ValueNone.
    void clear()
    {
        if (m_type == ValueString) {
            freeText();
        }
        m_type = ValueNone;
        m_aux = 0;
        m_payload = 0;
    }

    unsigned int getAux() const { return m_aux; }
    ValueType getType() const { return m_type; }
    /// The payload as it lies, for kinds other than ValueString.
    unsigned long long getBits() const { return m_payload; }

    unsigned char getByte() const { return static_cast<unsigned char>(m_payload); }
    int getInt32() const { return static_cast<int>(static_cast<unsigned int>(m_payload)); }
    unsigned int getUInt32() const { return static_cast<unsigned int>(m_payload); }
    long long getInt64() const { return static_cast<long long>(m_payload); }
    unsigned long long getUInt64() const { return m_payload; }
    double getDouble() const
    {
        double value;
        std::memcpy(&value, &m_payload, sizeof value);
        return value;
    }
    /// The text of a ValueString, ended by NUL and owned by the value; null for other kinds.
    const char* getString() const;

    void setByte(unsigned char value) { setBits(ValueByte, value); }
    void setInt32(int value) { setBits(ValueInt32, static_cast<unsigned int>(value)); }
    void setUInt32(unsigned int value) { setBits(ValueUInt32, value); }
    void setInt64(long long value) { setBits(ValueInt64, static_cast<unsigned long long>(value)); }
    void setUInt64(unsigned long long value) { setBits(ValueUInt64, value); }
    void setDouble(double value)
    {
        unsigned long long bits;
        std::memcpy(&bits, &value, sizeof bits);
        setBits(ValueDouble, bits);
    }
    /// Copies up to the terminator; null stands for an empty text.
    void setString(const char* text);
    void setBit(unsigned char value) { setBits(ValueBit, value); }
    void setVlog(unsigned char code) { setBits(ValueVlog, code); }
    void setStdLogic(unsigned char code) { setBits(ValueStdLogic, code); }

    /// Stores a payload of any kind but ValueString as it lies.
    void setBits(ValueType type, unsigned long long bits)
    {
        if (m_type == ValueString) {
            freeText();
        }
        m_aux = kTypedAux;
        m_type = type;
        m_payload = bits;
    }
    /// Makes it ValueDense. Keeps the payload, unless that is a text.
    void markDense();
    /// Gives a dense value its real kind back; the payload is the one that it was marked with, and
    /// a text is empty.
    void unmarkDense(ValueType type);
    void setAux(unsigned int aux) { m_aux = aux; }

private:
    void freeText();
    void take(Value& other);

    unsigned int m_aux = 0;
    ValueType m_type = ValueNone;
    unsigned long long m_payload = 0;
};

static_assert(sizeof(Value) == 16);

} // namespace Tracewell
