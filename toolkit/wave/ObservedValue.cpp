// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ObservedValue.h"

namespace tracewell {

std::optional<std::string> ObservedValueText::format(const Signal& signal,
                                                     const ObservedValue& value)
{
    SignalState state;
    state.kind = SignalState::Kind::Value;
    if (signal.valueKind->fires()) {
        state.firings = static_cast<unsigned int>(value.firings);
        return value.firings == 0 ? std::nullopt : std::optional(m_valueText.format(signal, state));
    }
    if (value.text.empty()) {
        return std::nullopt;
    }
    const bool hasKind = std::string_view("brsp").find(value.text[0]) != std::string_view::npos;
    m_text = value.text.substr(hasKind ? 1 : 0);
    state.override.pieces = 1;
    state.override.kind = static_cast<std::uint8_t>(hasKind ? value.text[0] : 'b');
    return m_valueText.format(signal, state);
}

} // namespace tracewell
