// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/ValueText.h"

#include <optional>
#include <string>

namespace tracewell {

/// What a signal does at some time in a stream of changes.
struct ObservedValue
{
    /// As it stands in front of the identifier code in a VCD: "1", "b101", "r0.5", "stext"; empty
    /// without a value so far.
    std::string text;
    /// Of an event: how often it fired at this very time.
    unsigned long long firings = 0;
};

/// Turns observed values into what a person reads.
class ObservedValueText
{
public:
    ObservedValueText() : m_valueText([this](long long) { return m_text; }) {}

    /// None for a signal without a value, and for an event that does not fire.
    std::optional<std::string> format(const Signal& signal, const ObservedValue& value);

private:
    std::string m_text;
    ValueText m_valueText;
};

} // namespace tracewell
