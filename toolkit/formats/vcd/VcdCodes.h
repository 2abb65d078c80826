// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace tracewell {

constexpr std::uint32_t kNoObject = 0xffffffffU;

/// Finds objects by their identifier codes: a direct table for codes of up to three printable
/// characters, a hash table for the others.
class VcdCodes
{
public:
    /// Keeps a reference to the objects.
    explicit VcdCodes(const std::vector<Object>& objects);

    std::uint32_t find(std::string_view code) const
    {
        const std::size_t slot = directSlot(code);
        if (slot == kNoSlot) {
            return findHashed(code);
        }
        return slot < m_direct.size() ? m_direct[slot] : kNoObject;
    }

    /// Whether a code of the table goes on behind this text.
    bool isStartOfCode(std::string_view text) const;

private:
    static constexpr std::size_t kNoSlot = static_cast<std::size_t>(-1);
    static constexpr unsigned int kDigits = 94;

    static std::size_t directSlot(std::string_view code)
    {
        if (code.size() - 1 > 2) {
            return kNoSlot;
        }
        std::size_t slot = 0;
        for (const char c : code) {
            const unsigned int digit = static_cast<unsigned char>(c) - unsigned{'!'};
            if (digit >= kDigits) {
                return kNoSlot;
            }
            slot = slot * kDigits + digit + 1;
        }
        return slot;
    }
    std::uint32_t findHashed(std::string_view code) const;

    const std::vector<Object>& m_objects;
    std::vector<std::uint32_t> m_direct;
    /// Open addressing; the size is a power of two, at least twice the number of entries.
    std::vector<std::uint32_t> m_hashed;
};

} // namespace tracewell
