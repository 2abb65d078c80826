// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "values/FourState.h"
#include "wave/SignalValues.h"

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// How much of its time one bit, or a signal as a whole, spent in each state, in simulation time.
struct StateTimes
{
    /// By a + 2 b of a bit: 0, 1, z, x. Of a vector as a whole 0 stands for all bits 0, 1 for any
    /// other number, x for one bit or more x, z for one or more z and none x.
    std::array<unsigned long long, 4> times{};
};

/// What one bit did.
struct BitActivity
{
    StateTimes states;
    /// From 0 to 1, and from 1 to 0.
    unsigned long long toggles = 0;
};

/// What a signal did in a stretch of time.
struct SignalActivity
{
    /// Times at which the value was another one than before; of an event the firings.
    unsigned long long changes = 0;
    /// Bits from 0 to 1, and from 1 to 0.
    unsigned long long rising = 0;
    unsigned long long falling = 0;
    std::optional<long long> firstChange;
    std::optional<long long> lastChange;
    /// Of signals with bits. What has no value yet is x.
    StateTimes states;
    /// The lowest bit first; empty unless asked for.
    std::vector<BitActivity> bits;
};

/// What is counted.
struct ActivityOrder
{
    /// Indices into Declarations::objects, ascending.
    std::vector<std::uint32_t> objects;
    /// What holds at `from` is no change; changes behind it count, up to `to`.
    long long from = 0;
    long long to = std::numeric_limits<long long>::max();
    bool wantsBits = false;
    /// Changes are counted by stretches of time too.
    bool wantsSlots = false;
};

/// Counts what signals do, in one pass through a run. Holds the counts, not the run.
class ActivityCounter
{
public:
    static constexpr std::size_t kSlots = 512;

    /// The stream is at its start and must outlive it.
    ActivityCounter(ChangeStream& changes, ActivityOrder order);

    /// Before run(): counts a signal by itself, where its store has a shorter way for that than
    /// run(), and leaves it out there. It is a whole object of the order. Several threads may do
    /// that at once, each with other objects and other values. False where there is no such way.
    bool countAlone(const SignalValues& values, std::size_t signal, std::uint32_t object);
    /// Once, for all others. `progress` is told the fraction that is done.
    /// \throws as ChangeStream::next
    void run(const std::function<void(double)>& progress);

    /// By the order's objects.
    const SignalActivity& activity(std::size_t index) const { return m_signals[index].activity; }
    /// Changes in each of the slots, of which there are kSlots, one behind the other from the
    /// order's `from` on. The last ones lie behind the end of the run; less than half of them.
    const std::vector<std::uint32_t>& slots(std::size_t index) const
    {
        return m_signals[index].slots.changes;
    }
    /// In simulation time: a power of two, the smallest that lets all slots together cover the run.
    long long slotLength() const { return m_slotLength; }
    /// Up to when was counted.
    long long end() const { return m_end; }

private:
    struct Slots
    {
        std::vector<std::uint32_t> changes;
        long long length = 1;
    };
    struct Counted
    {
        std::uint32_t object;
        bool hasBits;
        bool fires;
        /// Since when it is in its present state.
        long long since;
        unsigned int state = 3;
        bool isDone = false;
        FourState bits;
        SignalActivity activity;
        /// By bit.
        std::vector<long long> bitsSince;
        Slots slots;
    };

    void take(Counted& signal, long long time, bool isStart);
    void takeBits(Counted& signal, long long time, bool isStart);
    void takeState(Counted& signal, unsigned int state, long long time) const;
    void takeWord(Counted& signal, std::size_t word, std::uint64_t a, std::uint64_t b,
                  long long time, bool isStart) const;
    void count(Counted& signal, long long time, unsigned long long changes) const;
    static unsigned int stateOf(const FourState& bits);
    void widenSlots(Slots& slots, long long time) const;
    void finish();

    ChangeStream& m_changes;
    const ActivityOrder m_order;
    std::vector<Counted> m_signals;
    /// By object: the index of its signal, or none.
    std::vector<std::uint32_t> m_places;
    long long m_slotLength = 1;
    long long m_end = 0;
    FourState m_next;
    std::string m_scratch;
};

} // namespace tracewell
