// SPDX-License-Identifier: BSD-3-Clause

#include "diff/RunComparison.h"

#include "names/DataLayout.h"
#include "wave/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

constexpr unsigned long long kHasDiffered = std::numeric_limits<unsigned long long>::max();
constexpr unsigned int kStepsOfProgress = 4096;

bool isEvent(const ChangeStream& stream, std::uint32_t object)
{
    return stream.declarations().objects[object].kind->fires();
}

/// A letter is the same value whether it is a scalar's or a vector's.
std::string_view withoutKindOfBits(std::string_view text)
{
    return !text.empty() && text[0] == 'b' ? text.substr(1) : text;
}

/// Of a vector's value, what a signal shows that is some of its bits.
void keepBitsOf(const Signal& signal, std::string& text)
{
    if (signal.sharesBytes() && !text.empty() && text[0] == 'b') {
        const std::string whole = ValueText::widen(text.substr(1), signal.wholeWidth);
        text.resize(1);
        text.append(whole, signal.wholeWidth - signal.firstOfWhole - signal.width, signal.width);
    }
}

/// A VCD has 16 digits of a real at most.
bool isSameReal(std::string_view a, std::string_view b)
{
    constexpr int kDigits = 16;
    const auto numberOf = [](std::string_view text) {
        double number = 0;
        const bool isReal = !text.empty() && text[0] == 'r';
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data() + isReal, end, number);
        return isReal && result.ec == std::errc() && result.ptr == end ? number : std::nan("");
    };
    const double first = numberOf(a);
    const double second = numberOf(b);
    return !std::isnan(first) && !std::isnan(second) &&
           fmt::format("{:.{}g}", first, kDigits) == fmt::format("{:.{}g}", second, kDigits);
}

} // namespace

RunComparison::RunComparison(ChangeStream& a, ChangeStream& b, const CommonTime& time,
                             const std::vector<SignalPair>& pairs)
    : m_a(makeSide(a, pairs, &SignalPair::objectOfA)),
      m_b(makeSide(b, pairs, &SignalPair::objectOfB)), m_scale(time), m_pairs(pairs),
      m_seen(pairs.size(), 0), m_left(pairs.size())
{
    for (const SignalPair& pair : pairs) {
        const Object& objectOfA = a.declarations().objects[pair.objectOfA];
        const Object& objectOfB = b.declarations().objects[pair.objectOfB];
        const bool alike = objectOfA.kind == objectOfB.kind && objectOfA.width == objectOfB.width;
        m_plainBytes.push_back(alike ? static_cast<std::uint32_t>(DataLayout::sizeOf(objectOfA))
                                     : 0);
    }
}

RunComparison::Side RunComparison::makeSide(ChangeStream& stream,
                                            const std::vector<SignalPair>& pairs,
                                            std::uint32_t SignalPair::*object)
{
    Side side{stream, {}, {}};
    side.starts.resize(stream.declarations().objects.size() + 1);
    for (const SignalPair& pair : pairs) {
        ++side.starts[pair.*object + 1];
    }
    for (std::size_t i = 1; i < side.starts.size(); ++i) {
        side.starts[i] += side.starts[i - 1];
    }
    side.pairs.resize(pairs.size());
    std::vector<std::uint32_t> next(side.starts);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        side.pairs[next[pairs[i].*object]++] = static_cast<std::uint32_t>(i);
    }
    return side;
}

void RunComparison::select(const Window& window)
{
    for (Side* side : {&m_a, &m_b}) {
        ChangeSelection selection;
        // Rounded down, so that what holds at the start is known; see peek().
        selection.from = side == &m_a ? m_scale.toA(window.from) : m_scale.toB(window.from);
        std::vector<std::uint32_t> objects;
        for (std::size_t i = 0; i + 1 < side->starts.size(); ++i) {
            if (side->starts[i + 1] > side->starts[i]) {
                objects.push_back(static_cast<std::uint32_t>(i));
            }
        }
        if (objects.size() + 1 < side->starts.size()) {
            selection.objects = std::move(objects);
        }
        side->stream.select(selection);
    }
    m_from = window.from;
}

void RunComparison::run(const Window& window, const std::function<void(double)>& progress)
{
    select(window);
    goThrough(window, progress);
    std::sort(m_differences.begin(), m_differences.end(),
              [](const Difference& a, const Difference& b) {
                  return a.time != b.time ? a.time < b.time : a.pair < b.pair;
              });
}

void RunComparison::goThrough(const Window& window, const std::function<void(double)>& progress)
{
    for (peek(); (m_a.hasNext || m_b.hasNext) && m_left > 0; peek()) {
        m_time = !m_b.hasNext ? m_a.next : !m_a.hasNext ? m_b.next : std::min(m_a.next, m_b.next);
        if (m_time > window.to || isBehindEnd()) {
            return;
        }
        bool isChanged = false;
        for (Side* side : {&m_a, &m_b}) {
            side->isMoved = side->hasNext && side->next == m_time;
            isChanged = (side->isMoved && side->stream.advance()) || isChanged;
        }
        if (++m_step % kStepsOfProgress == 0) {
            progress(std::min(m_a.stream.progress(), m_b.stream.progress()));
        }
        if (isBehindEnd()) {
            return;
        }
        if (isChanged) {
            compareChanged(m_a);
            compareChanged(m_b);
        }
    }
    constexpr long long kNoEnd = std::numeric_limits<long long>::max();
    m_sawEnds =
        !m_a.hasNext && !m_b.hasNext && m_a.stream.end() == kNoEnd && m_b.stream.end() == kNoEnd;
}

/// Where one of the runs lacks something, nothing is known of differences.
bool RunComparison::isBehindEnd() const
{
    constexpr long long kNoEnd = std::numeric_limits<long long>::max();
    const long long a = m_a.stream.end();
    const long long b = m_b.stream.end();
    return (a != kNoEnd && m_time > m_scale.ofA(a)) || (b != kNoEnd && m_time > m_scale.ofB(b));
}

/// Both runs come to the start of the window at once, wherever their own steps before it lie.
void RunComparison::peek()
{
    long long time = 0;
    m_a.hasNext = m_a.stream.peek(time);
    m_a.next = m_a.hasNext ? std::max(m_scale.ofA(time), m_from) : 0;
    m_b.hasNext = m_b.stream.peek(time);
    m_b.next = m_b.hasNext ? std::max(m_scale.ofB(time), m_from) : 0;
}

void RunComparison::compareChanged(const Side& side)
{
    if (!side.isMoved) {
        return;
    }
    for (const std::uint32_t object : side.stream.changed()) {
        for (std::uint32_t i = side.starts[object]; i < side.starts[object + 1]; ++i) {
            const std::uint32_t pair = side.pairs[i];
            if (m_seen[pair] < m_step) {
                m_seen[pair] = m_step;
                compare(pair);
            }
        }
    }
}

void RunComparison::compare(std::uint32_t index)
{
    const SignalPair& pair = m_pairs[index];
    if (isSame(index)) {
        return;
    }
    m_seen[index] = kHasDiffered;
    --m_left;
    m_textOfA.clear();
    m_textOfB.clear();
    m_a.stream.appendValue(m_textOfA, pair.objectOfA);
    m_b.stream.appendValue(m_textOfB, pair.objectOfB);
    m_differences.push_back({index,
                             m_time,
                             {m_textOfA, firingsOf(m_a, pair.objectOfA)},
                             {m_textOfB, firingsOf(m_b, pair.objectOfB)}});
}

bool RunComparison::isSame(std::uint32_t index)
{
    const SignalPair& pair = m_pairs[index];
    if (isEvent(m_a.stream, pair.objectOfA) && isEvent(m_b.stream, pair.objectOfB)) {
        return isSameFiring(pair);
    }
    if (const std::uint32_t bytes = m_plainBytes[index]; bytes != 0) {
        const unsigned char* const a = m_a.stream.plainValue(pair.objectOfA);
        const unsigned char* const b = m_b.stream.plainValue(pair.objectOfB);
        if (a != nullptr && b != nullptr && std::memcmp(a, b, bytes) == 0) {
            return true;
        }
    }
    m_textOfA.clear();
    m_textOfB.clear();
    m_a.stream.appendValue(m_textOfA, pair.objectOfA);
    m_b.stream.appendValue(m_textOfB, pair.objectOfB);
    keepBitsOf(pair.a, m_textOfA);
    keepBitsOf(pair.b, m_textOfB);
    return withoutKindOfBits(m_textOfA) == withoutKindOfBits(m_textOfB) ||
           isSameReal(m_textOfA, m_textOfB);
}

bool RunComparison::isSameFiring(const SignalPair& pair)
{
    const unsigned long long firings = firingsOf(m_a, pair.objectOfA);
    if (firings != firingsOf(m_b, pair.objectOfB)) {
        return false;
    }
    m_textOfA.clear();
    m_textOfB.clear();
    if (firings > 0) {
        m_a.stream.appendValue(m_textOfA, pair.objectOfA);
        m_b.stream.appendValue(m_textOfB, pair.objectOfB);
    }
    return m_textOfA == m_textOfB;
}

/// At the time of the step, not before it.
unsigned long long RunComparison::firingsOf(const Side& side, std::uint32_t object) const
{
    if (!side.isMoved || !isEvent(side.stream, object)) {
        return 0;
    }
    const long long time = side.stream.time();
    const long long common = &side == &m_a ? m_scale.ofA(time) : m_scale.ofB(time);
    return common == m_time ? side.stream.firings(object) : 0;
}

} // namespace tracewell
