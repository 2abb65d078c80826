// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "BlockSearch.h"
#include "TransitionBlockStore.h"

#include <cstddef>
#include <vector>

namespace Tracewell {

/// Collects the transitions of one object between two times, both included, up to a number of them.
/// What repeats an earlier time, as the first value of a buffer that was opened again does, is left
/// out.
///
/// Call under the stripe of the object, without a lease; sources in the order of their times.
class HistoryReader
{
public:
    /// Appends the transitions from `from` to `to` to `out`.
    HistoryReader(TransitionBlockStore& blocks, long long from, long long to, std::size_t most,
                  std::vector<Transition>& out)
        : m_blocks(blocks), m_from(from), m_to(to), m_left(most), m_out(out), m_first(out.size())
    {}

    void readTree(BTreeElem& elem);
    /// Takes a BlockReader or a RecordReader.
    template <typename Reader> void read(const Reader& reader);
    void readInitial(const Transition& initial);
    /// Whether there was one for which there was no room.
    bool hasMore() const { return m_hasMore; }

private:
    bool wants(long long time) const
    {
        return time >= m_from && (m_out.size() == m_first || time > m_out.back().time);
    }
    /// Whether there is room for one more.
    bool makeRoom()
    {
        m_hasMore = m_left == 0;
        m_isDone = m_hasMore;
        m_left -= m_hasMore ? 0 : 1;
        return !m_hasMore;
    }

    TransitionBlockStore& m_blocks;
    const long long m_from;
    const long long m_to;
    std::size_t m_left;
    std::vector<Transition>& m_out;
    const std::size_t m_first;
    bool m_hasMore = false;
    bool m_isDone = false;
};

template <typename Reader> void HistoryReader::read(const Reader& reader)
{
    long long time = reader.firstTime();
    for (int i = 0; !m_isDone; ++i) {
        if (time > m_to) {
            m_isDone = true;
            return;
        }
        if (wants(time) && makeRoom()) {
            m_out.push_back(transitionAt(reader, i, time));
        }
        if (i + 1 >= reader.count()) {
            return;
        }
        time = Reader::advance(time, reader.delta(i));
    }
}

} // namespace Tracewell
