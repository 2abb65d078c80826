// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"

#include <string>
#include <string_view>
#include <unordered_map>

namespace Tracewell {
class IWdbWriter;
}

namespace tracewell {

/// Puts texts into the string map of a recording. Texts that come again soon are stored once.
class TextStore
{
public:
    explicit TextStore(Tracewell::IWdbWriter& writer) : m_writer(writer) {}

    /// `kind` is the letter in front of the text in a value change.
    /// A writer that keeps no texts gives them no ids; each text gets a reference of its own that
    /// leads nowhere then.
    /// False, with a reference to nothing, when the map takes no more: it is full, or closed.
    bool refer(char kind, std::string_view text, TextReference& reference);

    /// The writer has another file open, in which no text is.
    void beginFile();

private:
    bool store(std::string_view text, TextReference& reference);

    Tracewell::IWdbWriter& m_writer;
    /// Bounded: thrown away when it has grown too large.
    std::unordered_map<std::string, TextReference> m_known;
    std::size_t m_knownBytes = 0;
    std::string m_piece;
    std::uint32_t m_untold = 0;
};

} // namespace tracewell
