// SPDX-License-Identifier: BSD-3-Clause

#include "changes/GatheredChanges.h"

#include <algorithm>
#include <array>

namespace tracewell {

namespace {

constexpr std::size_t kChangesOfPart = 1024;
constexpr std::size_t kMostParts = 4096;
/// Fewer are compared with each other; more are dealt out by the bytes of their times.
constexpr std::size_t kFewestToDeal = 64;
constexpr unsigned int kBitsOfDeal = 8;

} // namespace

void GatheredChanges::clear()
{
    m_gathered.clear();
    m_changes.clear();
    m_partEnds.clear();
    m_part = 0;
    m_partEnd = 0;
    m_at = 0;
}

void GatheredChanges::arrange(long long from, long long to)
{
    if (m_gathered.empty()) {
        return;
    }
    m_from = from;
    m_shift = 0;
    const std::size_t parts = std::clamp<std::size_t>(size() / kChangesOfPart, 1, kMostParts);
    while (partOf(to) >= parts) {
        ++m_shift;
    }
    std::vector<std::size_t> starts(partOf(to) + 2);
    for (const Change& change : m_gathered) {
        ++starts[partOf(change.time) + 1];
    }
    for (std::size_t i = 1; i < starts.size(); ++i) {
        starts[i] += starts[i - 1];
    }
    m_partEnds.assign(starts.begin() + 1, starts.end());
    m_changes.resize(size());
    for (const Change& change : m_gathered) {
        m_changes[starts[partOf(change.time)]++] = change;
    }
}

bool GatheredChanges::sortNextPart()
{
    while (m_part < m_partEnds.size()) {
        m_partEnd = m_partEnds[m_part++];
        if (m_partEnd > m_at) {
            sort(m_changes.data() + m_at, m_changes.data() + m_partEnd);
            return true;
        }
    }
    return false;
}

void GatheredChanges::sort(Change* begin, Change* end)
{
    const auto count = static_cast<std::size_t>(end - begin);
    if (count < kFewestToDeal) {
        std::stable_sort(begin, end,
                         [](const Change& a, const Change& b) { return a.time < b.time; });
        return;
    }
    m_sorted.resize(count);
    for (unsigned int shift = 0; shift < m_shift; shift += kBitsOfDeal) {
        const auto digitOf = [&](const Change& change) {
            return static_cast<std::size_t>(offsetOf(change.time) >> shift) &
                   ((1u << kBitsOfDeal) - 1);
        };
        std::array<std::size_t, (1u << kBitsOfDeal) + 1> starts{};
        for (const Change* change = begin; change != end; ++change) {
            ++starts[digitOf(*change) + 1];
        }
        if (starts[digitOf(*begin) + 1] == count) {
            continue;
        }
        for (std::size_t i = 1; i < starts.size(); ++i) {
            starts[i] += starts[i - 1];
        }
        for (const Change* change = begin; change != end; ++change) {
            m_sorted[starts[digitOf(*change)]++] = *change;
        }
        std::copy(m_sorted.begin(), m_sorted.end(), begin);
    }
}

} // namespace tracewell
