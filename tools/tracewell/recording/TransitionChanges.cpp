#include "recording/TransitionChanges.h"

#include "names/TransitionLayout.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

/// Changes that are brought into order together.
constexpr std::size_t kFewest = 1 << 20;
constexpr std::size_t kMost = 1 << 22;
/// The first stretch is an object's share of that.
constexpr std::size_t kFirst = 1 << 16;
constexpr unsigned int kBitsOfGroup = 32;
constexpr long long kBytesOfGroup = 8;

} // namespace

TransitionChanges::TransitionChanges(const std::string& path) : ReplayedChanges(path), m_file(path)
{
    m_file.requireNames();
    start(m_texts);
    findSources();
}

void TransitionChanges::findSources()
{
    const TransitionLayout& ids = m_file.transitionLayout();
    const std::vector<Object>& objects = m_file.declarations().objects;
    long long first = 0;
    long long last = 0;
    Tracewell::ValueType type = Tracewell::ValueNone;
    const auto add = [&](std::uint32_t id, std::size_t object, std::uint32_t bit, bool nineState) {
        if (m_file.database().getTransInfo(id, first, last, type)) {
            m_sources.push_back(
                {id, static_cast<std::uint32_t>(object), bit, nineState, first, last});
            if (nineState) {
                Letters& letters = m_letters[static_cast<std::uint32_t>(object)];
                letters.fourState.resize(objects[object].width);
                letters.nineState.resize(objects[object].width, kNoNineState);
            }
            m_lastTime = std::max(m_lastTime, last);
        }
    };
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const bool hasBits = objects[i].objectClass == ObjectClass::Scalar ||
                             objects[i].objectClass == ObjectClass::Vector;
        const std::uint32_t count = TransitionLayout::countOf(objects[i]);
        if (!areAllPresent(m_file.database(), ids.idOf(i), count)) {
            continue;
        }
        for (std::uint32_t bit = 0; bit < count; ++bit) {
            const std::uint32_t id = ids.idOf(i) + bit;
            add(id, i, bit, false);
            if (hasBits) {
                add(id + ids.nineStateOffset(), i, bit, true);
            }
        }
    }
    const auto parts =
        static_cast<long long>(std::max<std::size_t>(m_sources.size() * 2048 / kFirst, 16));
    m_span = std::max(m_lastTime / parts, 1LL);
}

void TransitionChanges::choose(const std::vector<std::uint32_t>& objects)
{
    m_sources.erase(std::remove_if(m_sources.begin(), m_sources.end(),
                                   [&](const Source& source) {
                                       return !std::binary_search(objects.begin(), objects.end(),
                                                                  source.object);
                                   }),
                    m_sources.end());
}

bool TransitionChanges::findNext(long long& time)
{
    while (m_at == m_changes.size()) {
        if (m_isAtEnd) {
            return false;
        }
        gather();
    }
    time = m_changes[m_at].time;
    return true;
}

void TransitionChanges::applyNext()
{
    const long long time = m_changes[m_at].time;
    while (m_at < m_changes.size() && m_changes[m_at].time == time) {
        apply(m_changes[m_at++]);
    }
    showLetters();
}

/// Brings the next stretch of all objects together: a shorter one where there is too much.
void TransitionChanges::gather()
{
    long long to = 0;
    do {
        to = m_from > m_lastTime - m_span ? m_lastTime : m_from + m_span - 1;
        m_changes.clear();
    } while (!collect(to));
    m_at = 0;
    std::stable_sort(m_changes.begin(), m_changes.end(),
                     [](const Change& a, const Change& b) { return a.time < b.time; });
    m_isAtEnd = to == m_lastTime;
    m_from = m_isAtEnd ? to : to + 1;
    if (m_changes.size() < kFewest && m_span < std::numeric_limits<long long>::max() / 4) {
        m_span *= 2;
    }
}

/// False, with a shorter span, when the stretch has more than there is room for. At a single time
/// there is always room for what all objects have then.
bool TransitionChanges::collect(long long to)
{
    for (std::size_t i = 0; i < m_sources.size(); ++i) {
        const Source& source = m_sources[i];
        if (source.first > to || source.last < m_from) {
            continue;
        }
        m_answers.clear();
        const std::size_t room = std::max(kMost, m_changes.size() + 1) - m_changes.size();
        const bool hasMore = m_file.database().getHistory(source.id, m_from, to, room, m_answers);
        if (hasMore && m_span > 1) {
            m_span /= 2;
            return false;
        }
        for (const Tracewell::Transition& answer : m_answers) {
            if (answer.value.getType() != Tracewell::ValueNone) {
                ObjectState state;
                state.take(answer);
                m_changes.push_back({state.time, static_cast<std::uint32_t>(i), state.bits});
            }
        }
    }
    return true;
}

void TransitionChanges::apply(const Change& change)
{
    const Source& source = m_sources[change.source];
    switch (declarations().objects[source.object].objectClass) {
    case ObjectClass::Scalar:
    case ObjectClass::Vector:
        if (source.isNineState) {
            applyNineState(source, static_cast<std::uint8_t>(change.bits));
        } else {
            applyBit(source, static_cast<std::uint8_t>(change.bits & kLetterMask));
        }
        break;
    case ObjectClass::Event:
        applyEvent(source.object, static_cast<std::uint32_t>(change.bits));
        break;
    default:
        values().apply(layout().addressOf(source.object),
                       reinterpret_cast<const unsigned char*>(&change.bits), sizeof change.bits);
        break;
    }
}

void TransitionChanges::applyBit(const Source& source, std::uint8_t code)
{
    if (const auto letters = m_letters.find(source.object); letters != m_letters.end()) {
        letters->second.fourState[source.bit] = code;
        m_spelled.push_back(source.object);
    }
    const long long address = layout().addressOf(source.object);
    if (declarations().objects[source.object].objectClass == ObjectClass::Scalar) {
        values().apply(address, &code, 1);
        return;
    }
    const long long group = address + source.bit / kBitsOfGroup * kBytesOfGroup;
    const std::uint32_t mask = 1u << source.bit % kBitsOfGroup;
    std::uint32_t words[2];
    std::memcpy(words, values().at(group), sizeof words);
    words[0] = (code & 1) != 0 ? words[0] | mask : words[0] & ~mask;
    words[1] = (code & 2) != 0 ? words[1] | mask : words[1] & ~mask;
    values().apply(group, reinterpret_cast<const unsigned char*>(words), sizeof words);
}

void TransitionChanges::applyNineState(const Source& source, std::uint8_t code)
{
    m_letters[source.object].nineState[source.bit] =
        code > kLetterMask && code < kLetterCount ? code : kNoNineState;
    m_spelled.push_back(source.object);
}

/// After all of one time, since two objects make one letter.
void TransitionChanges::showLetters()
{
    std::sort(m_spelled.begin(), m_spelled.end());
    m_spelled.erase(std::unique(m_spelled.begin(), m_spelled.end()), m_spelled.end());
    for (const std::uint32_t object : m_spelled) {
        const Letters& codes = m_letters[object];
        std::string letters;
        bool isNineState = false;
        for (std::size_t bit = codes.nineState.size(); bit-- > 0;) {
            const bool has = codes.nineState[bit] != kNoNineState;
            isNineState = isNineState || has;
            letters += kLetters[has ? codes.nineState[bit] : codes.fourState[bit]];
        }
        if (declarations().objects[object].objectClass == ObjectClass::Scalar) {
            const std::uint8_t code = isNineState ? codes.nineState[0] : codes.fourState[0];
            values().apply(layout().addressOf(object), &code, 1);
        } else {
            values().spell(object, isNineState ? letters : std::string());
        }
    }
    m_spelled.clear();
}

void TransitionChanges::applyEvent(std::uint32_t object, std::uint32_t bits)
{
    const std::uint32_t count = bits >> 8;
    const std::uint32_t times = firingsBetween(m_counts[object], count);
    m_counts[object] = count;
    if (times != 0) {
        values().fire(object, times, static_cast<std::uint8_t>(bits));
    }
}

} // namespace tracewell
