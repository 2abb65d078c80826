// SPDX-License-Identifier: BSD-3-Clause

#include "view/PageToken.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <sys/random.h>

namespace tracewell {

PageToken::PageToken()
{
    unsigned char bits[16];
    if (::getrandom(bits, sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
        throw Failure("the system gives no random numbers, so nobody could be kept from the page");
    }
    for (const unsigned char byte : bits) {
        m_text += fmt::format("{:02x}", byte);
    }
}

bool PageToken::matches(std::string_view shown) const
{
    unsigned int difference = shown.size() == m_text.size() ? 0 : 1;
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const char other = i < shown.size() ? shown[i] : '\0';
        difference |= static_cast<unsigned int>(static_cast<unsigned char>(m_text[i] ^ other));
    }
    return difference == 0;
}

} // namespace tracewell
