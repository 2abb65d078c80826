// SPDX-License-Identifier: BSD-3-Clause

#include "stats/ActivityCounter.h"

#include "changes/FourStateChange.h"

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
        Counted signal{object,
                       kind.hasBits(),
                       kind.fires(),
                       m_order.from,
                       3,
                       FourState(kind.hasBits() ? objects[object].width : 1),
                       {},
                       {}};
        if (m_order.wantsBits && kind.hasBits()) {
            signal.activity.bits.resize(objects[object].width);
            signal.bitsSince.assign(objects[object].width, m_order.from);
        }
        m_signals.push_back(std::move(signal));
    }
    m_slots.assign(m_order.wantsSlots ? m_order.objects.size() * kSlots : 0, 0);
    ChangeSelection selection;
    if (m_order.objects.size() < objects.size()) {
        selection.objects = m_order.objects;
    }
    selection.from = m_order.from;
    changes.select(selection);
}

void ActivityCounter::run(const std::function<void(double)>& progress)
{
    long long time = 0;
    unsigned int steps = 0;
    while (m_changes.peek(time) && time <= m_order.to && time <= m_changes.end()) {
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
        widenSlots(m_end);
    }
    finish();
}

void ActivityCounter::take(Counted& signal, long long time, bool isStart)
{
    if (signal.hasBits) {
        takeBits(signal, time, isStart);
    } else if (signal.fires) {
        count(m_places[signal.object], time, m_changes.firings(signal.object));
    } else if (!isStart) {
        count(m_places[signal.object], time, 1);
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
    SignalActivity& activity = signal.activity;
    const unsigned int state = stateOf(m_next);
    if (state != signal.state) {
        activity.states.times[signal.state] += elapsed(signal.since, time);
        signal.since = time;
        signal.state = state;
    }
    for (std::size_t word = 0; word < m_next.words(); ++word) {
        const std::uint64_t oldA = signal.bits.a()[word];
        const std::uint64_t oldB = signal.bits.b()[word];
        const std::uint64_t newA = m_next.a()[word];
        const std::uint64_t newB = m_next.b()[word];
        const std::uint64_t known = ~oldB & ~newB;
        if (!isStart) {
            activity.rising += onesOf(known & ~oldA & newA);
            activity.falling += onesOf(known & oldA & ~newA);
        }
        if (activity.bits.empty()) {
            continue;
        }
        for (std::uint64_t changed = (oldA ^ newA) | (oldB ^ newB); changed != 0;
             changed &= changed - 1) {
            const auto shift = static_cast<unsigned int>(__builtin_ctzll(changed));
            const auto bit = static_cast<unsigned int>(word) * FourState::kBitsOfWord + shift;
            BitActivity& of = activity.bits[bit];
            of.states.times[signal.bits.bit(bit)] += elapsed(signal.bitsSince[bit], time);
            of.toggles += !isStart && (known >> shift & 1) != 0 ? 1 : 0;
            signal.bitsSince[bit] = time;
        }
    }
    std::swap(signal.bits, m_next);
    if (!isStart) {
        count(m_places[signal.object], time, 1);
    }
}

void ActivityCounter::count(std::size_t index, long long time, unsigned long long changes)
{
    SignalActivity& activity = m_signals[index].activity;
    activity.changes += changes;
    activity.firstChange = activity.firstChange.value_or(time);
    activity.lastChange = time;
    if (m_order.wantsSlots) {
        widenSlots(time);
        const auto slot = static_cast<std::size_t>((time - m_order.from) / m_slotLength);
        addTo(m_slots[index * kSlots + slot], changes);
    }
}

/// Until the slots reach up to the time: two become one.
void ActivityCounter::widenSlots(long long time)
{
    while ((time - m_order.from) / m_slotLength >= static_cast<long long>(kSlots)) {
        for (std::size_t first = 0; first < m_slots.size(); first += kSlots) {
            for (std::size_t slot = 0; slot < kSlots; ++slot) {
                const bool isThere = slot < kSlots / 2;
                std::uint32_t sum = isThere ? m_slots[first + 2 * slot] : 0;
                addTo(sum, isThere ? m_slots[first + 2 * slot + 1] : 0);
                m_slots[first + slot] = sum;
            }
        }
        m_slotLength *= 2;
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
