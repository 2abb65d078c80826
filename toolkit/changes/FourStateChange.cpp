// SPDX-License-Identifier: BSD-3-Clause

#include "changes/FourStateChange.h"

#include "values/VcdValues.h"

#include <algorithm>
#include <string_view>

namespace tracewell {

bool takeFourState(ChangeStream& changes, std::uint32_t object, FourState& bits,
                   std::string& scratch)
{
    if (const unsigned char* const plain = changes.plainValue(object)) {
        if (changes.declarations().objects[object].kind->isLetter()) {
            bits.setBit(0, nearestFourState(*plain));
        } else {
            bits.setGroups(plain);
        }
        return true;
    }
    scratch.clear();
    changes.appendValue(scratch, object);
    if (scratch.empty()) {
        return false;
    }
    constexpr std::string_view kForms = "brsp";
    const bool hasForm = kForms.find(scratch[0]) != std::string_view::npos;
    std::string letters = scratch.substr(hasForm ? 1 : 0);
    if (hasForm && scratch[0] == 'p') {
        letters = portLetters(letters);
    }
    if (letters.empty() || !areLetters(letters)) {
        bits.fill(3);
        return true;
    }
    // Missing letters repeat the leftmost one, but for a 1.
    const std::size_t width = bits.width();
    const char fill = letters[0] == '1' ? '0' : letters[0];
    letters.insert(0, width - std::min(width, letters.size()), fill);
    bits.setLetters(std::string_view(letters).substr(letters.size() - width));
    return true;
}

} // namespace tracewell
