// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColumnFormat.h"

#include <algorithm>
#include <vector>

namespace Tracewell {

/// Fields by their ids. A design of a million variables has a handful of runs.
class FieldRuns
{
public:
    struct Field
    {
        std::uint64_t address = 0;
        /// 0 when nothing is known of it.
        unsigned int size = 0;
        bool isCounter = false;
    };

    void add(std::uint64_t address, unsigned int size, bool isCounter)
    {
        const auto flags = static_cast<std::uint8_t>(isCounter ? 1 : 0);
        if (!m_runs.empty()) {
            FieldRun& last = m_runs.back();
            if (last.end() == address && last.size == size && last.flags == flags) {
                ++last.count;
                ++m_count;
                return;
            }
        }
        add({address, 1, static_cast<std::uint8_t>(size), flags, 0});
    }
    void add(const FieldRun& run)
    {
        m_firstIds.push_back(m_count);
        m_runs.push_back(run);
        m_count += run.count;
    }
    void clear()
    {
        m_runs.clear();
        m_firstIds.clear();
        m_count = 0;
    }

    std::uint32_t count() const { return m_count; }
    Field at(std::uint32_t id) const
    {
        if (id >= m_count) {
            return {};
        }
        const std::size_t run = runOf(id);
        const FieldRun& found = m_runs[run];
        return {found.address + std::uint64_t{id - m_firstIds[run]} * found.size, found.size,
                (found.flags & 1) != 0};
    }
    const std::vector<FieldRun>& runs() const { return m_runs; }
    std::uint32_t firstIdOf(std::size_t run) const { return m_firstIds[run]; }

private:
    std::size_t runOf(std::uint32_t id) const
    {
        return static_cast<std::size_t>(std::upper_bound(m_firstIds.begin(), m_firstIds.end(), id) -
                                        m_firstIds.begin()) -
               1;
    }

    std::vector<FieldRun> m_runs;
    std::vector<std::uint32_t> m_firstIds;
    std::uint32_t m_count = 0;
};

} // namespace Tracewell
