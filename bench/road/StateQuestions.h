// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Readers.h"

#include <algorithm>
#include <random>
#include <vector>

namespace tracewell::bench {

/// All over the run, for `i` from 0 to `count` - 1.
inline long long timeOf(std::size_t i, std::size_t count, long long end)
{
    return static_cast<long long>((2 * i + 1) * static_cast<unsigned long long>(end) / (2 * count));
}

/// Asks for the states of signals from all over the design, each at another time.
///
/// `ask(signal, time)` is a question from opening the file on.
template <class Ask>
void askCold(const Workload& workload, long long end, StateResult& result, const Ask& ask)
{
    constexpr std::size_t kQuestions = 20;
    const std::vector<std::uint32_t> signals = workload.pick(kQuestions);
    std::vector<double> times;
    double processor = 0;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const Stopwatch watch;
        const std::uint32_t state = ask(signals[i], timeOf(i, signals.size(), end));
        times.push_back(watch.wall() / 1e3);
        processor += watch.process() / 1e3;
        result.check += static_cast<double>(state) * static_cast<double>(i + 1);
    }
    std::sort(times.begin(), times.end());
    result.coldUs = times[times.size() / 2];
    result.slowestColdUs = times.back();
    result.coldProcessorUs = processor / static_cast<double>(times.size());
}

/// `ask(signal, time)` goes to a file that is open, for one of `signals` at random.
template <class Ask>
void askWarm(long long end, const std::vector<std::uint32_t>& signals, std::size_t questions,
             StateResult& result, const Ask& ask)
{
    std::mt19937_64 random(7);
    std::vector<std::pair<std::uint32_t, long long>> asked;
    for (std::size_t i = 0; i < questions; ++i) {
        asked.emplace_back(signals[random() % signals.size()],
                           timeOf(random() % questions, questions, end));
    }
    const Stopwatch watch;
    std::uint32_t states = 0;
    for (const auto& [signal, time] : asked) {
        states += ask(signal, time);
    }
    result.warmUs = watch.process() / 1e3 / static_cast<double>(questions);
    // So that no answer is left out.
    if (states == 1) {
        result.check += 0.5;
    }
}

} // namespace tracewell::bench
