// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// What a page shows to be served: 128 random bits, that it has from the fragment of its address.
class PageToken
{
public:
    /// A new one. \throws Failure when the system has no random bits.
    PageToken();

    /// 32 hexadecimal digits.
    const std::string& text() const { return m_text; }
    /// Takes the same time whatever is different.
    bool matches(std::string_view shown) const;

private:
    std::string m_text;
};

} // namespace tracewell
