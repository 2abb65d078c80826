// SPDX-License-Identifier: BSD-3-Clause

#include "changes/TransitionChanges.h"

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

/// Bits that are stored together.
bool isGrouped(const ValueKind& kind)
{
    return kind.hasBits() && !kind.isLetter();
}

} // namespace

TransitionChanges::TransitionChanges(const std::string& path) : ReplayedChanges(path), m_file(path)
{
    m_file.requireNames();
    start(m_texts);
}

void TransitionChanges::choose(const std::vector<std::uint32_t>& objects)
{
    for (const std::uint32_t object : objects) {
        findSources(object);
    }
    chooseSpan();
}

void TransitionChanges::findSources(std::uint32_t object)
{
    const Object& declared = declarations().objects[object];
    const std::uint32_t first = m_file.transitionLayout().idOf(object);
    const std::uint32_t count = TransitionLayout::countOf(declared);
    const std::size_t before = m_sources.size();
    const bool hasBits = declared.kind->hasBits();
    bool hasLetters = false;
    for (std::uint32_t bit = 0; bit < count; ++bit) {
        if (!addSource(first + bit, object, bit, false)) {
            // It never has a value.
            m_sources.resize(before);
            m_targets.resize(before);
            return;
        }
        if (hasBits) {
            const std::uint32_t nineState =
                first + bit + m_file.transitionLayout().nineStateOffset();
            hasLetters = addSource(nineState, object, bit, true) || hasLetters;
        }
    }
    for (std::size_t i = before; i < m_sources.size(); ++i) {
        m_lastTime = std::max(m_lastTime, m_sources[i].last);
        m_targets[i].hasLetters = hasLetters;
    }
    if (hasLetters) {
        Letters& letters = m_letters[object];
        letters.fourState.resize(declared.width);
        letters.nineState.resize(declared.width, kNoNineState);
    }
}

/// False when it has no transitions.
bool TransitionChanges::addSource(std::uint32_t id, std::uint32_t object, std::uint32_t bit,
                                  bool isNineState)
{
    Source source{id, 0, 0};
    Tracewell::ValueType type = Tracewell::ValueNone;
    if (!m_file.database().getTransInfo(id, source.first, source.last, type)) {
        return false;
    }
    if (source.first > 0) {
        // Whether it begins so late, before what others have until then is shown.
        m_file.database().getCurrentTransition(id, 0);
    }
    m_sources.push_back(source);
    m_targets.push_back({layout().addressOf(object) + bit / kBitsOfGroup * kBytesOfGroup, object,
                         bit, declarations().objects[object].kind, isNineState, false});
    return true;
}

void TransitionChanges::chooseSpan()
{
    const auto parts =
        static_cast<long long>(std::max<std::size_t>(m_sources.size() * 2048 / kFirst, 16));
    m_span = std::max(m_lastTime / parts, 1LL);
    m_isChosen = true;
}

bool TransitionChanges::findNext(long long& time)
{
    if (!m_isChosen) {
        for (std::uint32_t object = 0; object < declarations().objects.size(); ++object) {
            findSources(object);
        }
        chooseSpan();
    }
    while (m_changes.peek() == nullptr) {
        if (m_isAtEnd) {
            return false;
        }
        gather();
    }
    time = m_changes.peek()->time;
    return time <= m_file.end();
}

void TransitionChanges::applyNext()
{
    const long long time = m_changes.peek()->time;
    for (const Change* change = m_changes.peek(); change != nullptr && change->time == time;
         change = m_changes.peek()) {
        const Target& target = m_targets[change->source];
        if (isGrouped(*target.kind) && !target.isNineState) {
            applyGroup(target, time);
        } else {
            apply(target, *change);
            m_changes.pop();
        }
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
        m_wide.clear();
    } while (!collect(to));
    const std::size_t gathered = m_changes.size();
    m_changes.arrange(m_from, to);
    m_isAtEnd = to == m_lastTime;
    m_from = m_isAtEnd ? to : to + 1;
    if (gathered < kFewest && m_span < std::numeric_limits<long long>::max() / 4) {
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
        const ValueKind& kind = *m_targets[i].kind;
        const bool isWide = !kind.hasBits() && !kind.fires();
        for (const Tracewell::Transition& answer : m_answers) {
            if (answer.value.getType() != Tracewell::ValueNone) {
                m_changes.add({answer.time, static_cast<std::uint32_t>(i),
                               isWide ? keepWide(answer.value)
                                      : static_cast<std::uint32_t>(answer.value.getBits())});
            }
        }
    }
    return true;
}

std::uint32_t TransitionChanges::keepWide(const Tracewell::Value& value)
{
    m_wide.push_back(value.getType() == Tracewell::ValueInt32
                         ? static_cast<unsigned long long>(value.getInt32())
                         : value.getBits());
    return static_cast<std::uint32_t>(m_wide.size() - 1);
}

void TransitionChanges::apply(const Target& target, const Change& change)
{
    const auto code = static_cast<std::uint8_t>(change.value);
    if (target.isNineState) {
        applyNineState(target, code);
    } else if (target.kind->hasBits()) {
        const std::uint8_t letter = code & kLetterMask;
        applyFourState(target, letter);
        values().set(target.object, target.address, &letter, 1);
    } else if (target.kind->fires()) {
        applyEvent(target.object, change.value);
    } else {
        const unsigned long long bits = m_wide[change.value];
        values().set(target.object, target.address, reinterpret_cast<const unsigned char*>(&bits),
                     sizeof bits);
    }
}

/// All bits of a group that change at a time, since they are one value: they follow each other.
void TransitionChanges::applyGroup(const Target& first, long long time)
{
    std::uint32_t words[2];
    std::memcpy(words, values().at(first.address), sizeof words);
    for (const Change* change = m_changes.peek(); change != nullptr && change->time == time;
         change = m_changes.peek()) {
        const Target& target = m_targets[change->source];
        if (target.address != first.address || target.isNineState) {
            break;
        }
        const auto code = static_cast<std::uint8_t>(change->value & kLetterMask);
        const unsigned int place = target.bit % kBitsOfGroup;
        words[0] = (words[0] & ~(1u << place)) | (code & 1u) << place;
        words[1] = (words[1] & ~(1u << place)) | static_cast<std::uint32_t>(code >> 1u) << place;
        applyFourState(target, code);
        m_changes.pop();
    }
    values().set(first.object, first.address, reinterpret_cast<const unsigned char*>(words),
                 sizeof words);
}

void TransitionChanges::applyFourState(const Target& target, std::uint8_t code)
{
    if (target.hasLetters) {
        m_letters[target.object].fourState[target.bit] = code;
        m_spelled.push_back(target.object);
    }
}

void TransitionChanges::applyNineState(const Target& target, std::uint8_t code)
{
    m_letters[target.object].nineState[target.bit] =
        code > kLetterMask && code < kLetterCount ? code : kNoNineState;
    m_spelled.push_back(target.object);
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
        if (declarations().objects[object].kind->isLetter()) {
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
