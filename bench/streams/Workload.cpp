// SPDX-License-Identifier: BSD-3-Clause

#include "Workload.h"

#include <numeric>
#include <random>
#include <stdexcept>
#include <utility>

namespace tracewell::bench {

namespace {

constexpr std::uint64_t kSeed = 20240229;

struct Shape
{
    std::uint32_t signals;
    std::uint32_t vectors;
    std::size_t changesPerStep;
};

Shape shapeOf(const std::string& name)
{
    if (name == "mixed") {
        return {2000, 1000, 150};
    }
    if (name == "scalars") {
        return {2000, 0, 150};
    }
    if (name == "clock") {
        return {1, 0, 1};
    }
    if (name == "sparse") {
        return {100000, 0, 1};
    }
    throw std::invalid_argument("unknown workload " + name);
}

} // namespace

Workload::Workload(const std::string& name, std::size_t changeCount)
{
    const Shape shape = shapeOf(name);
    m_signalCount = shape.signals;
    m_vectorCount = shape.vectors;
    m_changesPerStep = shape.changesPerStep;

    // Only the generator's own numbers, not a distribution, whose results are not portable.
    std::mt19937_64 random(kSeed);
    std::vector<std::uint32_t> order(m_signalCount);
    std::iota(order.begin(), order.end(), 0u);
    std::vector<std::uint32_t> values(m_signalCount, 0);
    m_changes.reserve(changeCount);
    while (m_changes.size() < changeCount) {
        // The first places of a shuffle: no signal changes twice at one time.
        for (std::size_t i = 0; i < m_changesPerStep && m_changes.size() < changeCount; ++i) {
            std::swap(order[i], order[i + random() % (m_signalCount - i)]);
            const std::uint32_t signal = order[i];
            values[signal] =
                isVector(signal) ? static_cast<std::uint32_t>(random() >> 32) : values[signal] ^ 1u;
            m_changes.push_back({signal, values[signal]});
        }
    }
}

const std::vector<std::string>& Workload::names()
{
    static const std::vector<std::string> kNames = {"mixed", "clock", "sparse"};
    return kNames;
}

std::vector<std::uint32_t> Workload::pick(std::uint32_t count) const
{
    std::vector<std::uint32_t> picked;
    for (std::uint32_t i = 0; i < count && i < m_signalCount; ++i) {
        const std::uint64_t middle = (2ull * i + 1) * m_signalCount / (2ull * count);
        picked.push_back(static_cast<std::uint32_t>(count < m_signalCount ? middle : i));
    }
    return picked;
}

} // namespace tracewell::bench
