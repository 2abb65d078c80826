// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdCodes.h"

#include <algorithm>
#include <functional>

namespace tracewell {

VcdCodes::VcdCodes(const std::vector<Object>& objects) : m_objects(objects)
{
    std::size_t direct = 0;
    std::size_t hashed = 0;
    for (const Object& object : objects) {
        const std::size_t slot = directSlot(object.code);
        if (slot == kNoSlot) {
            ++hashed;
        } else {
            direct = std::max(direct, slot + 1);
        }
    }
    m_direct.assign(direct, kNoObject);
    std::size_t places = 1;
    while (places < 2 * hashed + 1) {
        places *= 2;
    }
    m_hashed.assign(places, kNoObject);

    for (std::uint32_t i = 0; i < objects.size(); ++i) {
        const std::string& code = objects[i].code;
        const std::size_t slot = directSlot(code);
        if (slot != kNoSlot) {
            m_direct[slot] = i;
            continue;
        }
        std::size_t place = std::hash<std::string_view>{}(code) & (places - 1);
        while (m_hashed[place] != kNoObject) {
            place = (place + 1) & (places - 1);
        }
        m_hashed[place] = i;
    }
}

std::uint32_t VcdCodes::findHashed(std::string_view code) const
{
    const std::size_t mask = m_hashed.size() - 1;
    std::size_t place = std::hash<std::string_view>{}(code)&mask;
    while (m_hashed[place] != kNoObject && m_objects[m_hashed[place]].code != code) {
        place = (place + 1) & mask;
    }
    return m_hashed[place];
}

bool VcdCodes::isStartOfCode(std::string_view text) const
{
    return std::any_of(m_objects.begin(), m_objects.end(), [&](const Object& object) {
        return object.code.size() > text.size() &&
               std::string_view(object.code).substr(0, text.size()) == text;
    });
}

} // namespace tracewell
