// SPDX-License-Identifier: BSD-3-Clause

#include "stats/ActivityCounter.h"

#include "changes/FourStateChange.h"
#include "values/VcdValues.h"

#include <algorithm>
#include <utility>

namespace tracewell {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned int kStepsOfProgress = 65536;

unsigned int onesOf(std::uint64_t word)
{
    return static_cast<unsigned int>(__builtin_popcountll(word));
}

unsigned long long elapsed(long long since, long long time)
{
    return static_cast<unsigned long long>(std::max(time - since, 0LL));
}

/// As far as there is room.
void addTo(std::uint32_t& sum, unsigned long long more)
{
    sum += static_cast<std::uint32_t>(std::min<unsigned long long>(more, kNone - sum));
}

} // namespace

ActivityCounter::ActivityCounter(ChangeStream& changes, ActivityOrder order)
    : m_changes(changes), m_order(std::move(order))
{
    const std::vector<Object>& objects = changes.declarations().objects;
    m_places.assign(objects.size(), kNone);
    m_signals.reserve(m_order.objects.size());
    for (const std::uint32_t object : m_order.objects) {
        const ValueKind& kind = *objects[object].kind;
        m_places[object] = static_cast<std::uint32_t>(m_signals.size());
        Counted signal;
        signal.object = object;
        signal.hasBits = kind.hasBits();
        signal.fires = kind.fires();
        signal.since = m_order.from;
        signal.bits = FourState(kind.hasBits() ? objects[object].width : 1);
        if (m_order.wantsBits && kind.hasBits()) {
            signal.activity.bits.resize(objects[object].width);
            signal.bitsSince.assign(objects[object].width, m_order.from);
        }
        if (m_order.wantsSlots) {
            signal.slots.changes.assign(kSlots, 0);
        }
        m_signals.push_back(std::move(signal));
    }
}

bool ActivityCounter::countAlone(const SignalValues& values, std::size_t index,
                                 std::uint32_t object)
{
    const ValueKind& kind = *m_changes.declarations().objects[object].kind;
    Counted& signal = m_signals[m_places[object]];
    if (!kind.hasBits() || signal.bits.width() > 32) {
        return false;
    }
    const bool isLetter = kind.isLetter();
    const std::uint64_t mask = (std::uint64_t{1} << signal.bits.width()) - 1;
    const auto take = [&](long long time, unsigned long long bytes) {
        const unsigned int letter =
            isLetter ? nearestFourState(static_cast<std::uint8_t>(bytes)) : 0;
        const std::uint64_t a = isLetter ? letter & 1 : bytes & mask;
        const std::uint64_t b = isLetter ? letter >> 1 : bytes >> 32 & mask;
        const bool isStart = time <= m_order.from;
        time = std::max(time, m_order.from);
        takeState(signal, (a & b) != 0 ? 3 : b != 0 ? 2 : a != 0 ? 1 : 0, time);
        takeWord(signal, 0, a, b, time, isStart);
        if (!isStart) {
            count(signal, time, 1);
        }
        return true;
    };
    signal.isDone = values.visitPlain(index, m_order.from, m_order.to, take);
    return signal.isDone;
}

void ActivityCounter::run(const std::function<void(double)>& progress)
{
    ChangeSelection selection;
    selection.objects.emplace();
    for (const Counted& signal : m_signals) {
        if (!signal.isDone) {
            selection.objects->push_back(signal.object);
        }
    }
    const bool isAll = selection.objects->size() == m_changes.declarations().objects.size();
    const bool isNone = selection.objects->empty();
    if (isAll) {
        selection.objects.reset();
    }
    selection.from = m_order.from;
    m_changes.select(selection);
    long long time = 0;
    unsigned int steps = 0;
    while (!isNone && m_changes.peek(time) && time <= m_order.to && time <= m_changes.end()) {
        const bool isChanged = m_changes.advance();
        if (++steps % kStepsOfProgress == 0) {
            progress(m_changes.progress());
        }
        time = m_changes.time();
        if (!isChanged || time > m_changes.end()) {
            continue;
        }
        for (const std::uint32_t object : m_changes.changed()) {
            if (m_places[object] != kNone) {
                take(m_signals[m_places[object]], time, time <= m_order.from);
            }
        }
    }
    m_end = std::max(m_order.from, std::min({m_order.to, m_changes.latestTime(), m_changes.end()}));
    if (m_order.wantsSlots) {
        while ((m_end - m_order.from) / m_slotLength >= static_cast<long long>(kSlots)) {
            m_slotLength *= 2;
        }
        for (Counted& signal : m_signals) {
            widenSlots(signal.slots, m_end);
        }
    }
    finish();
}

void ActivityCounter::take(Counted& signal, long long time, bool isStart)
{
    if (signal.hasBits) {
        takeBits(signal, time, isStart);
    } else if (signal.fires) {
        count(signal, time, m_changes.firings(signal.object));
    } else if (!isStart) {
        count(signal, time, 1);
    }
}

void ActivityCounter::takeBits(Counted& signal, long long time, bool isStart)
{
    if (m_next.width() != signal.bits.width()) {
        m_next = FourState(signal.bits.width());
    }
    if (!takeFourState(m_changes, signal.object, m_next, m_scratch)) {
        return;
    }
    takeState(signal, stateOf(m_next), time);
    for (std::size_t word = 0; word < m_next.words(); ++word) {
        takeWord(signal, word, m_next.a()[word], m_next.b()[word], time, isStart);
    }
    if (!isStart) {
        count(signal, time, 1);
    }
}

void ActivityCounter::takeState(Counted& signal, unsigned int state, long long time) const
{
    if (state != signal.state) {
        signal.activity.states.times[signal.state] += elapsed(signal.since, time);
        signal.since = time;
        signal.state = state;
    }
}

/// A word of the new value.
void ActivityCounter::takeWord(Counted& signal, std::size_t word, std::uint64_t a, std::uint64_t b,
                               long long time, bool isStart) const
{
    SignalActivity& activity = signal.activity;
    const std::uint64_t oldA = signal.bits.a()[word];
    const std::uint64_t oldB = signal.bits.b()[word];
    const std::uint64_t known = ~oldB & ~b;
    signal.bits.a()[word] = a;
    signal.bits.b()[word] = b;
    if (!isStart) {
        activity.rising += onesOf(known & ~oldA & a);
        activity.falling += onesOf(known & oldA & ~a);
    }
    if (activity.bits.empty()) {
        return;
    }
    for (std::uint64_t changed = (oldA ^ a) | (oldB ^ b); changed != 0; changed &= changed - 1) {
        const auto shift = static_cast<unsigned int>(__builtin_ctzll(changed));
        const std::size_t bit = word * FourState::kBitsOfWord + shift;
        const auto before =
            static_cast<std::size_t>((oldA >> shift & 1) | (oldB >> shift & 1) << 1);
        BitActivity& of = activity.bits[bit];
        of.states.times[before] += elapsed(signal.bitsSince[bit], time);
        of.toggles += !isStart && (known >> shift & 1) != 0 ? 1 : 0;
        signal.bitsSince[bit] = time;
    }
}

void ActivityCounter::count(Counted& signal, long long time, unsigned long long changes) const
{
    SignalActivity& activity = signal.activity;
    activity.changes += changes;
    activity.firstChange = activity.firstChange.value_or(time);
    activity.lastChange = time;
    if (m_order.wantsSlots) {
        widenSlots(signal.slots, time);
        const auto slot = static_cast<std::size_t>((time - m_order.from) / signal.slots.length);
        addTo(signal.slots.changes[slot], changes);
    }
}

/// Until the slots reach up to the time: two become one.
void ActivityCounter::widenSlots(Slots& slots, long long time) const
{
    while ((time - m_order.from) / slots.length >= static_cast<long long>(kSlots) ||
           slots.length < m_slotLength) {
        for (std::size_t slot = 0; slot < kSlots; ++slot) {
            const bool isThere = slot < kSlots / 2;
            std::uint32_t sum = isThere ? slots.changes[2 * slot] : 0;
            addTo(sum, isThere ? slots.changes[2 * slot + 1] : 0);
            slots.changes[slot] = sum;
        }
        slots.length *= 2;
    }
}

unsigned int ActivityCounter::stateOf(const FourState& bits)
{
    std::uint64_t isOne = 0;
    std::uint64_t isX = 0;
    std::uint64_t isZ = 0;
    for (std::size_t word = 0; word < bits.words(); ++word) {
        isOne |= bits.a()[word] & ~bits.b()[word];
        isX |= bits.a()[word] & bits.b()[word];
        isZ |= ~bits.a()[word] & bits.b()[word];
    }
    return isX != 0 ? 3 : isZ != 0 ? 2 : isOne != 0 ? 1 : 0;
}

void ActivityCounter::finish()
{
    for (Counted& signal : m_signals) {
        if (!signal.hasBits) {
            continue;
        }
        signal.activity.states.times[signal.state] += elapsed(signal.since, m_end);
        for (unsigned int bit = 0; bit < signal.activity.bits.size(); ++bit) {
            signal.activity.bits[bit].states.times[signal.bits.bit(bit)] +=
                elapsed(signal.bitsSince[bit], m_end);
        }
    }
}

} // namespace tracewell
