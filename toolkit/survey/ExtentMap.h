// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <map>

namespace tracewell {

/// Which bytes of a file belong to something. No byte of a sound file belongs to two things.
class ExtentMap
{
public:
    /// Takes a run of bytes; false, and nothing changes, when one of them is taken already.
    bool claim(long long offset, long long size)
    {
        if (size <= 0) {
            return true;
        }
        auto next = m_ends.lower_bound(offset);
        if (next != m_ends.end() && next->first < offset + size) {
            return false;
        }
        if (next != m_ends.begin()) {
            auto previous = next;
            --previous;
            if (previous->second > offset) {
                return false;
            }
            // Neighbours are kept as one: a sound file comes down to few runs.
            if (previous->second == offset) {
                previous->second = offset + size;
                joinWithNext(previous);
                m_claimed += size;
                return true;
            }
        }
        joinWithNext(m_ends.emplace_hint(next, offset, offset + size));
        m_claimed += size;
        return true;
    }

    long long claimed() const { return m_claimed; }

private:
    void joinWithNext(std::map<long long, long long>::iterator run)
    {
        auto next = run;
        if (++next != m_ends.end() && next->first == run->second) {
            run->second = next->second;
            m_ends.erase(next);
        }
    }

    /// The end of each run by its start.
    std::map<long long, long long> m_ends;
    long long m_claimed = 0;
};

} // namespace tracewell
