// SPDX-License-Identifier: BSD-3-Clause

#include "formats/fst/FstBlock.h"

#include "values/ValueKinds.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

constexpr unsigned long long kLargestPart = std::numeric_limits<int>::max();
/// Of one block, unpacked.
constexpr unsigned long long kLargestBlock = 4ULL << 30;
constexpr std::uint32_t kRealBytes = 8;

bool readBig(const SpooledFile& file, unsigned long long at, unsigned long long& value)
{
    unsigned char bytes[8];
    if (!file.read(at, bytes, sizeof bytes)) {
        return false;
    }
    value = 0;
    for (const unsigned char byte : bytes) {
        value = value << 8 | byte;
    }
    return true;
}

/// Reads a number at a place of the file, and moves the place behind it.
bool readNumber(const SpooledFile& file, unsigned long long& at, unsigned long long end,
                unsigned long long& value)
{
    unsigned char bytes[10];
    const auto size =
        static_cast<std::size_t>(std::min<unsigned long long>(sizeof bytes, end - at));
    if (at > end || !file.read(at, bytes, size)) {
        return false;
    }
    const unsigned char* place = bytes;
    if (!readVarint(place, bytes + size, value)) {
        return false;
    }
    at += static_cast<unsigned long long>(place - bytes);
    return true;
}

bool readBytes(const SpooledFile& file, unsigned long long at, unsigned long long size,
               FstBytes& out)
{
    if (size > kLargestPart || size > file.size()) {
        return false;
    }
    out.resize(static_cast<std::size_t>(size));
    return file.read(at, out.data(), out.size());
}

/// Bytes that are packed where their sizes differ.
bool readPacked(const SpooledFile& file, unsigned long long at, unsigned long long size,
                unsigned long long unpackedSize, FstBytes& out)
{
    if (size == unpackedSize) {
        return readBytes(file, at, size, out);
    }
    FstBytes packed;
    return unpackedSize <= kLargestPart && readBytes(file, at, size, packed) &&
           unpackZlib(packed.data(), packed.size(), static_cast<std::size_t>(unpackedSize), out);
}

/// The letter of a bit that is not 0 or 1, by the number that it has.
constexpr char kOtherLetters[] = {'x', 'z', 'h', 'u', 'w', 'l', '-', 'x'};

/// The letters of eight bits, the highest first.
struct EightLetters
{
    std::array<std::array<char, 8>, 256> letters;
};

constexpr EightLetters makeEightLetters()
{
    EightLetters table{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            table.letters[byte][bit] = static_cast<char>('0' + (byte >> (7 - bit) & 1));
        }
    }
    return table;
}

constexpr EightLetters kEightLetters = makeEightLetters();

/// Control characters, which no text of a value can have, as C writes them.
void appendPrintable(std::string& out, const unsigned char* bytes, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned char byte = bytes[i];
        if (byte == '\n') {
            out += "\\n";
        } else if (byte == '\t') {
            out += "\\t";
        } else if (byte < ' ' || byte == 0x7f) {
            out += fmt::format("\\{:03o}", byte);
        } else {
            out += static_cast<char>(byte);
        }
    }
}

} // namespace

bool FstBlock::open(FstBlockKind kind, unsigned long long at, unsigned long long length,
                    bool showsStart)
{
    constexpr unsigned long long kHead = 32;
    constexpr unsigned long long kTail = 24;
    m_isDamaged = false;
    m_unpacked.clear();
    m_time = 0;
    m_hasTime = false;
    m_variable = kNone;
    m_hasToldStart = true;
    unsigned long long first = 0;
    unsigned long long last = 0;
    if (length < kHead + kTail || !readBig(m_file, at + 8, first) ||
        !readBig(m_file, at + 16, last) ||
        std::max(first, last) >
            static_cast<unsigned long long>(std::numeric_limits<long long>::max())) {
        return fail();
    }
    m_firstTime = static_cast<long long>(first);
    m_lastTime = static_cast<long long>(last);
    const unsigned long long end = at + length;
    unsigned long long timesStart = 0;
    unsigned long long place = at + kHead;
    if (!readTimes(at + kHead, end, timesStart) || !readFrame(place, timesStart, showsStart)) {
        return fail();
    }
    unsigned long long count = 0;
    if (!readNumber(m_file, place, timesStart, count) || count > m_names.objects.size() ||
        place >= timesStart) {
        return fail();
    }
    const unsigned long long start = place;
    unsigned char method = 0;
    unsigned long long indexSize = 0;
    if (!m_file.read(start, &method, 1) || timesStart - start < 9 ||
        !readBig(m_file, timesStart - 8, indexSize) || indexSize > timesStart - 8 - start) {
        return fail();
    }
    FstBytes index;
    const unsigned long long indexStart = timesStart - 8 - indexSize;
    if (!readBytes(m_file, indexStart, indexSize, index) ||
        !readPlaces(kind, index, static_cast<std::size_t>(count), indexStart - start) ||
        !unpackChains(start, method)) {
        return fail();
    }
    m_firstOfTime.assign(m_times.size(), kNone);
    for (std::uint32_t variable = 0; variable < m_chains.size(); ++variable) {
        if (m_names.objects[variable] != kNoFstObject && !queue(variable, 0)) {
            return fail();
        }
    }
    return true;
}

bool FstBlock::readTimes(unsigned long long at, unsigned long long end,
                         unsigned long long& timesStart)
{
    unsigned long long unpackedSize = 0;
    unsigned long long size = 0;
    unsigned long long count = 0;
    if (!readBig(m_file, end - 24, unpackedSize) || !readBig(m_file, end - 16, size) ||
        !readBig(m_file, end - 8, count) || size > end - 24 - at || count > unpackedSize) {
        return false;
    }
    timesStart = end - 24 - size;
    FstBytes bytes;
    if (!readPacked(m_file, timesStart, size, unpackedSize, bytes)) {
        return false;
    }
    m_times.clear();
    m_times.reserve(static_cast<std::size_t>(count));
    const unsigned char* place = bytes.data();
    const unsigned char* const bytesEnd = bytes.data() + bytes.size();
    unsigned long long time = 0;
    for (unsigned long long i = 0; i < count; ++i) {
        unsigned long long step = 0;
        constexpr auto kLatest =
            static_cast<unsigned long long>(std::numeric_limits<long long>::max());
        if (!readVarint(place, bytesEnd, step) || step > kLatest - time) {
            return false;
        }
        time += step;
        m_times.push_back(static_cast<long long>(time));
    }
    return true;
}

bool FstBlock::readFrame(unsigned long long& at, unsigned long long end, bool showsStart)
{
    unsigned long long unpackedSize = 0;
    unsigned long long size = 0;
    unsigned long long count = 0;
    if (!readNumber(m_file, at, end, unpackedSize) || !readNumber(m_file, at, end, size) ||
        !readNumber(m_file, at, end, count) || size > end - at || count > m_names.objects.size()) {
        return false;
    }
    if (showsStart) {
        unsigned long long expected = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t length = m_names.lengths[i];
            expected += length == FstNames::kRealLength ? kRealBytes : length;
        }
        if (expected != unpackedSize || !readPacked(m_file, at, size, unpackedSize, m_frame)) {
            return false;
        }
        m_frameAt = 0;
        m_frameVariable = 0;
        m_frameVariables = static_cast<std::uint32_t>(count);
        m_hasToldStart = false;
    }
    at += size;
    return true;
}

bool FstBlock::readPlaces(FstBlockKind kind, const FstBytes& index, std::size_t count,
                          unsigned long long dataSize)
{
    m_places.assign(count, Place());
    unsigned long long last = 0;
    const bool isRead = kind == FstBlockKind::ChangesWithAliases2
                            ? readPlacesOfNew(index, count, last)
                            : readPlacesOfOld(index, count, last);
    if (!isRead) {
        return false;
    }
    // Each ends where the next one begins.
    unsigned long long end = dataSize;
    for (std::size_t i = count; i-- > 0;) {
        Place& place = m_places[i];
        if (place.offset != 0) {
            if (place.offset >= end) {
                return false;
            }
            place.size = end - place.offset;
            end = place.offset;
        }
    }
    // Aliases lead to variables in front of them, so they never lead in a circle.
    for (std::size_t i = 0; i < count; ++i) {
        Place& place = m_places[i];
        if (place.alias != kNone) {
            if (place.alias >= i) {
                return false;
            }
            const std::uint32_t before = m_places[place.alias].alias;
            place.alias = before != kNone ? before : place.alias;
        }
    }
    return true;
}

bool FstBlock::readPlacesOfOld(const FstBytes& index, std::size_t count, unsigned long long& last)
{
    const unsigned char* at = index.data();
    const unsigned char* const end = index.data() + index.size();
    for (std::size_t i = 0; at != end;) {
        unsigned long long value = 0;
        if (!readVarint(at, end, value)) {
            return false;
        }
        if (value == 0) {
            if (!readVarint(at, end, value) || i == count || value == 0 || value > count) {
                return false;
            }
            m_places[i++].alias = static_cast<std::uint32_t>(value - 1);
        } else if ((value & 1) != 0) {
            last += value >> 1;
            if (i == count || value >> 1 == 0) {
                return false;
            }
            m_places[i++].offset = last;
        } else {
            if (value >> 1 > count - i) {
                return false;
            }
            i += static_cast<std::size_t>(value >> 1);
        }
    }
    return true;
}

bool FstBlock::readPlacesOfNew(const FstBytes& index, std::size_t count, unsigned long long& last)
{
    const unsigned char* at = index.data();
    const unsigned char* const end = index.data() + index.size();
    std::uint32_t alias = kNone;
    for (std::size_t i = 0; at != end;) {
        if ((*at & 1) == 0) {
            unsigned long long value = 0;
            if (!readVarint(at, end, value) || value >> 1 > count - i) {
                return false;
            }
            i += static_cast<std::size_t>(value >> 1);
            continue;
        }
        long long value = 0;
        if (!readSignedVarint(at, end, value) || i == count) {
            return false;
        }
        value >>= 1;
        if (value > 0) {
            last += static_cast<unsigned long long>(value);
            m_places[i++].offset = last;
            continue;
        }
        if (value < 0) {
            if (value < -static_cast<long long>(count)) {
                return false;
            }
            alias = static_cast<std::uint32_t>(-value - 1);
        } else if (alias == kNone) {
            return false;
        }
        m_places[i++].alias = alias;
    }
    return true;
}

bool FstBlock::unpackChains(unsigned long long start, unsigned char method)
{
    m_chains.assign(m_places.size(), Chain());
    m_unpacked.reserve(m_places.size());
    unsigned long long total = 0;
    FstBytes data;
    for (std::size_t i = 0; i < m_places.size(); ++i) {
        const Place& place = m_places[i];
        if (place.alias != kNone) {
            m_chains[i] = m_chains[place.alias];
            continue;
        }
        if (place.offset == 0) {
            continue;
        }
        FstBytes unpacked;
        if (!readBytes(m_file, start + place.offset, place.size, data) ||
            !unpackChain(data, method, unpacked)) {
            return false;
        }
        total += unpacked.size();
        if (total > kLargestBlock) {
            return false;
        }
        m_unpacked.push_back(std::move(unpacked));
        m_chains[i].at = m_unpacked.back().data();
        m_chains[i].end = m_chains[i].at + m_unpacked.back().size();
    }
    return true;
}

bool FstBlock::unpackChain(const FstBytes& data, unsigned char method, FstBytes& out) const
{
    const unsigned char* at = data.data();
    const unsigned char* const end = data.data() + data.size();
    unsigned long long unpackedSize = 0;
    if (!readVarint(at, end, unpackedSize)) {
        return false;
    }
    const auto size = static_cast<std::size_t>(end - at);
    if (unpackedSize == 0) {
        out.assign(at, end);
        return true;
    }
    if (unpackedSize > kLargestPart) {
        return false;
    }
    const auto whole = static_cast<std::size_t>(unpackedSize);
    return method == '4'   ? unpackLz4(at, size, whole, out)
           : method == 'F' ? unpackFastLz(at, size, whole, out)
                           : unpackZlib(at, size, whole, out);
}

bool FstBlock::queue(std::uint32_t variable, std::size_t from)
{
    Chain& chain = m_chains[variable];
    if (chain.at == chain.end) {
        return true;
    }
    const unsigned char* at = chain.at;
    unsigned long long head = 0;
    if (!readVarint(at, chain.end, head)) {
        return false;
    }
    const bool isBit = m_names.lengths[variable] == 1;
    const unsigned long long step = isBit ? head >> ((head & 1) != 0 ? 4 : 2) : head >> 1;
    if (step >= m_times.size() - from) {
        return false;
    }
    std::uint32_t& first = m_firstOfTime[from + static_cast<std::size_t>(step)];
    chain.next = first;
    first = variable;
    return true;
}

bool FstBlock::next(RunChange& change)
{
    for (;;) {
        if (!m_hasToldStart) {
            if (!m_hasTime) {
                m_hasTime = true;
                change.kind = RunChange::Kind::Time;
                change.time = m_firstTime;
                return true;
            }
            if (startValue(change)) {
                return true;
            }
            m_hasToldStart = true;
            m_hasTime = false;
        }
        if (m_variable != kNone) {
            const std::uint32_t variable = m_variable;
            m_variable = m_chains[variable].next;
            if (!readValue(variable, change) || !queue(variable, m_time)) {
                return fail();
            }
            return true;
        }
        if (m_hasTime && m_firstOfTime[m_time] != kNone) {
            m_variable = m_firstOfTime[m_time];
            m_firstOfTime[m_time] = kNone;
            continue;
        }
        m_time += m_hasTime ? 1 : 0;
        m_hasTime = true;
        while (m_time < m_times.size() && m_firstOfTime[m_time] == kNone) {
            ++m_time;
        }
        if (m_time >= m_times.size()) {
            m_hasTime = false;
            m_time = m_times.size();
            m_firstOfTime.clear();
            m_times.clear();
            return false;
        }
        change.kind = RunChange::Kind::Time;
        change.time = m_times[m_time];
        return true;
    }
}

/// The values that the block begins with. An event has none; and all x, or no number, is what the
/// writer has where nothing was told yet.
bool FstBlock::startValue(RunChange& change)
{
    while (m_frameVariable < m_frameVariables) {
        const std::uint32_t variable = m_frameVariable++;
        const std::uint32_t length = m_names.lengths[variable];
        const std::uint32_t object = m_names.objects[variable];
        const unsigned char* const bytes = m_frame.data() + m_frameAt;
        m_frameAt += length == FstNames::kRealLength ? kRealBytes : length;
        if (object == kNoFstObject || length == 0 ||
            m_names.declarations.objects[object].kind->fires()) {
            continue;
        }
        change.object = object;
        if (length == FstNames::kRealLength) {
            std::memcpy(&change.number, bytes, sizeof change.number);
            if (std::isnan(change.number)) {
                continue;
            }
            change.kind = RunChange::Kind::Number;
            return true;
        }
        m_text.assign(reinterpret_cast<const char*>(bytes), length);
        if (m_text.find_first_not_of('x') == std::string::npos) {
            continue;
        }
        if (length == 1) {
            const std::uint8_t code = letterCode(m_text[0]);
            change.kind = RunChange::Kind::Letter;
            change.letter = code == kNoLetter ? kLetterX : code;
        } else {
            change.kind =
                m_names.isPort[variable] != 0 ? RunChange::Kind::Port : RunChange::Kind::Letters;
            change.text = m_text;
            if (m_names.isPort[variable] != 0 &&
                m_text.find_first_not_of('x') == std::string::npos) {
                // What no port has told yet.
                continue;
            }
        }
        return true;
    }
    return false;
}

bool FstBlock::readValue(std::uint32_t variable, RunChange& change)
{
    Chain& chain = m_chains[variable];
    unsigned long long head = 0;
    if (!readVarint(chain.at, chain.end, head)) {
        return false;
    }
    const std::uint32_t length = m_names.lengths[variable];
    const auto left = static_cast<std::size_t>(chain.end - chain.at);
    change.object = m_names.objects[variable];
    if (length == 1) {
        change.kind = RunChange::Kind::Letter;
        change.letter = (head & 1) == 0 ? static_cast<std::uint8_t>(head >> 1 & 1)
                                        : letterCode(kOtherLetters[head >> 1 & 7]);
        return true;
    }
    if (length == 0) {
        unsigned long long size = 0;
        if (!readVarint(chain.at, chain.end, size) ||
            size > static_cast<unsigned long long>(chain.end - chain.at)) {
            return false;
        }
        m_text.clear();
        appendPrintable(m_text, chain.at, static_cast<std::size_t>(size));
        chain.at += size;
        change.kind = RunChange::Kind::Text;
        change.text = m_text;
        return true;
    }
    const std::size_t letters = length == FstNames::kRealLength ? kRealBytes : length;
    m_text.resize(letters);
    if ((head & 1) != 0) {
        if (left < letters) {
            return false;
        }
        std::memcpy(m_text.data(), chain.at, letters);
        chain.at += letters;
    } else {
        const std::size_t size = (letters + 7) / 8;
        if (left < size) {
            return false;
        }
        m_text.resize(8 * size);
        for (std::size_t i = 0; i < size; ++i) {
            std::memcpy(m_text.data() + 8 * i, kEightLetters.letters[chain.at[i]].data(), 8);
        }
        m_text.resize(letters);
        chain.at += size;
    }
    if (length == FstNames::kRealLength) {
        std::memcpy(&change.number, m_text.data(), sizeof change.number);
        change.kind = RunChange::Kind::Number;
        return true;
    }
    change.kind = m_names.isPort[variable] != 0 ? RunChange::Kind::Port : RunChange::Kind::Letters;
    change.text = m_text;
    return true;
}

} // namespace tracewell
