// SPDX-License-Identifier: BSD-3-Clause

#include "values/VcdValues.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace tracewell {

namespace {

constexpr std::array<std::uint8_t, 256> makeLetterCodes()
{
    std::array<std::uint8_t, 256> codes{};
    for (std::uint8_t& code : codes) {
        code = kNoLetter;
    }
    for (std::uint8_t code = 0; code < kLetterCount; ++code) {
        const auto letter = static_cast<unsigned char>(kLetters[code]);
        codes[letter] = code;
        if (letter >= 'a' && letter <= 'z') {
            codes[letter - ('a' - 'A')] = code;
        }
    }
    return codes;
}

constexpr std::uint8_t kNearest[kLetterCount] = {0, 1, 2, 3, 3, 3, 0, 1, 3};

/// What stands to the left of a leftmost letter.
constexpr std::uint8_t kExtension[kLetterCount] = {0, 0, 2, 3, 4, 5, 0, 0, 8};

/// Bits of eight letters that are all 0 or 1, the first as the highest; -1 when they are not.
int eightBits(const char* letters)
{
    std::uint64_t word;
    std::memcpy(&word, letters, sizeof word);
    word ^= 0x3030303030303030ULL;
    if ((word & ~0x0101010101010101ULL) != 0) {
        return -1;
    }
    return static_cast<int>((word * 0x8040201008040201ULL) >> 56);
}

struct Group
{
    std::uint32_t a = 0;
    std::uint32_t b = 0;
};

/// One group from the up to 32 letters before `end`.
VectorForm groupOf(const char* begin, const char* end, Group& group)
{
    VectorForm form = VectorForm::Exact;
    unsigned int bit = 0;
    while (end != begin) {
        if (end - begin >= 8) {
            const int bits = eightBits(end - 8);
            if (bits >= 0) {
                group.a |= static_cast<std::uint32_t>(bits) << bit;
                end -= 8;
                bit += 8;
                continue;
            }
        }
        const char* stop = end - std::min<std::ptrdiff_t>(8, end - begin);
        while (end != stop) {
            const std::uint8_t code = letterCode(*--end);
            if (code == kNoLetter) {
                return VectorForm::Invalid;
            }
            form = code > kLetterX ? VectorForm::Nearest : form;
            group.a |= std::uint32_t{kNearest[code]} % 2 << bit;
            group.b |= std::uint32_t{kNearest[code]} / 2 << bit;
            ++bit;
        }
    }
    return form;
}

/// True when the letters before the last `width` are what a reader would put there by itself.
bool excessIsExtension(std::string_view letters, unsigned int width)
{
    const std::uint8_t fill = kExtension[letterCode(letters[letters.size() - width])];
    return std::all_of(letters.begin(), letters.end() - width,
                       [&](char letter) { return letterCode(letter) == fill; });
}

/// The four-state code of a state of a port.
std::uint8_t portState(char state)
{
    switch (state) {
    case '0':
    case 'D':
    case 'd':
    case 'L':
    case 'l':
        return 0;
    case '1':
    case 'U':
    case 'u':
    case 'H':
    case 'h':
        return 1;
    case 'Z':
    case 'T':
    case 'F':
    case 'f':
        return 2;
    default:
        return kLetterX;
    }
}

} // namespace

const std::array<std::uint8_t, 256> kLetterCodes = makeLetterCodes();

std::uint8_t nearestFourState(std::uint8_t code)
{
    return kNearest[code];
}

std::string portLetters(std::string_view text)
{
    std::string letters;
    for (const char state : text.substr(0, text.find(' '))) {
        letters += kLetters[portState(state)];
    }
    return letters;
}

char spelledLetter(char letter)
{
    switch (letter) {
    case 'u':
        return 'U';
    case 'w':
        return 'W';
    case 'l':
        return 'L';
    case 'h':
        return 'H';
    default:
        return letter;
    }
}

bool areLetters(std::string_view text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char letter) { return letterCode(letter) != kNoLetter; });
}

VectorForm toGroups(std::string_view letters, unsigned int width, unsigned char* groups)
{
    if (letters.empty()) {
        return VectorForm::Invalid;
    }
    VectorForm form = VectorForm::Exact;
    std::string_view used = letters;
    if (letters.size() > width) {
        used = letters.substr(letters.size() - width);
        if (!areLetters(letters)) {
            return VectorForm::Invalid;
        }
        form = excessIsExtension(letters, width) ? VectorForm::Exact : VectorForm::Nearest;
    }
    const char* end = used.data() + used.size();
    const std::size_t bytes = groupBytes(width);
    std::size_t at = 0;
    while (end != used.data()) {
        const char* begin = end - std::min<std::ptrdiff_t>(32, end - used.data());
        Group group;
        const VectorForm groupForm = groupOf(begin, end, group);
        if (groupForm == VectorForm::Invalid) {
            return groupForm;
        }
        form = groupForm == VectorForm::Nearest ? groupForm : form;
        std::memcpy(groups + at, &group, sizeof group);
        at += sizeof group;
        end = begin;
    }
    std::memset(groups + at, 0, bytes - at);

    // Only x and z fill what is missing; the fill ends at the width.
    const std::uint8_t fill = kNearest[kExtension[letterCode(used[0])]];
    if (fill != kLetter0) {
        for (std::size_t bit = used.size(); bit < width;) {
            Group group;
            const std::size_t place = 8 * (bit / 32);
            const std::size_t count = std::min<std::size_t>(32 - bit % 32, width - bit);
            const auto mask =
                static_cast<std::uint32_t>(((std::uint64_t{1} << count) - 1) << (bit % 32));
            std::memcpy(&group, groups + place, sizeof group);
            group.a |= (fill & 1) != 0 ? mask : 0;
            group.b |= mask;
            std::memcpy(groups + place, &group, sizeof group);
            bit += count;
        }
    }
    return form;
}

void appendLetters(std::string& out, const unsigned char* groups, unsigned int width)
{
    const std::size_t start = out.size();
    out.resize(start + width);
    char* to = out.data() + start;
    for (unsigned int left = width; left > 0;) {
        const unsigned int inGroup = (left - 1) % 32 + 1;
        Group group;
        std::memcpy(&group, groups + 8 * std::size_t{(left - 1) / 32}, sizeof group);
        for (unsigned int bit = inGroup; bit-- > 0;) {
            *to++ = kLetters[(group.a >> bit & 1U) + 2 * (group.b >> bit & 1U)];
        }
        left -= inGroup;
    }
    std::size_t keep = start;
    while (keep + 1 < out.size()) {
        const char next = out[keep + 1];
        if (out[keep] != (next == '1' ? '0' : next)) {
            break;
        }
        ++keep;
    }
    out.erase(start, keep - start);
}

std::string canonicalLetters(std::string_view letters, unsigned int width)
{
    std::string out;
    if (letters.size() > width && excessIsExtension(letters, width)) {
        letters = letters.substr(letters.size() - width);
    }
    if (letters.size() < width) {
        out.assign(width - letters.size(), kLetters[kExtension[letterCode(letters[0])]]);
    }
    for (const char letter : letters) {
        out += kLetters[letterCode(letter)];
    }
    return out;
}

RealForm toReal(std::string_view text, double& value)
{
    if (!text.empty() && text[0] == '+') {
        text.remove_prefix(1);
        if (text.substr(0, 1) == "-") {
            return RealForm::Invalid;
        }
    }
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec == std::errc() && result.ptr == end) {
        return text.back() == ')' ? RealForm::Nearest : RealForm::Exact;
    }
    // As some C libraries write them: "1.#INF", "-1.#IND00".
    std::string copy(text);
    if (const std::size_t mark = copy.find("1.#"); mark <= 1) {
        const std::string_view kind = std::string_view(copy).substr(mark + 3, 3);
        const std::string sign = copy.substr(0, mark);
        if (kind == "INF") {
            copy = sign + "inf";
        } else if (kind == "IND" || kind == "QNA" || kind == "SNA") {
            copy = sign + "nan";
        }
    }
    // Beyond the range of a double, and hexadecimal numbers.
    char* behind = nullptr;
    errno = 0;
    value = std::strtod(copy.c_str(), &behind);
    if (copy.empty() || behind != copy.c_str() + copy.size()) {
        return RealForm::Invalid;
    }
    return errno == ERANGE ? RealForm::Nearest : RealForm::Exact;
}

void appendReal(std::string& out, double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    out.append(text, result.ptr);
}

} // namespace tracewell
