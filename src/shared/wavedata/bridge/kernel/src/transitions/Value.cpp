// SPDX-License-Identifier: BSD-3-Clause

#include "Value.h"

#include <cstdint>
#include <utility>

namespace Tracewell {

namespace {

char* textOf(unsigned long long payload)
{
    return reinterpret_cast<char*>(static_cast<std::uintptr_t>(payload));
}

} // namespace

Value::Value(const Value& other)
{
    *this = other;
}

Value::Value(Value&& other) noexcept
{
    take(other);
}

Value& Value::operator=(const Value& other)
{
    if (this == &other) {
        return *this;
    }
    if (other.m_type == ValueString) {
        setString(other.getString());
        return *this;
    }
    setBits(other.m_type, other.m_payload);
    if (other.m_type == ValueNone || other.m_type == ValueByte) {
        m_aux = other.m_aux;
    }
    return *this;
}

Value& Value::operator=(Value&& other) noexcept
{
    if (this != &other) {
        clear();
        take(other);
    }
    return *this;
}

void Value::take(Value& other)
{
    m_aux = other.m_aux;
    m_type = std::exchange(other.m_type, ValueNone);
    m_payload = std::exchange(other.m_payload, 0);
}

const char* Value::getString() const
{
    return m_type == ValueString ? textOf(m_payload) : nullptr;
}

void Value::setString(const char* text)
{
    const std::size_t size = text ? std::strlen(text) : 0;
    char* const copy = new char[size + 1];
    if (size > 0) {
        std::memcpy(copy, text, size);
    }
    copy[size] = '\0';
    setBits(ValueString, reinterpret_cast<std::uintptr_t>(copy));
}

void Value::markDense()
{
    setBits(ValueDense, m_type == ValueString ? 0 : m_payload);
}

void Value::unmarkDense(ValueType type)
{
    if (m_type != ValueDense) {
        return;
    }
    if (type == ValueString) {
        setString(nullptr);
    } else {
        m_type = type;
    }
}

void Value::freeText()
{
    delete[] textOf(m_payload);
}

} // namespace Tracewell
