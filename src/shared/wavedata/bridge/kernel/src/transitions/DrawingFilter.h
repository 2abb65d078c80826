// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "BlockSearch.h"
#include "TransitionBlockStore.h"

#include <algorithm>
#include <vector>

namespace Tracewell {

/// Collects what there is to draw of one object between two times. Transitions that lie closer to
/// each other than minDelta become runs: a ValueDense entry at the start, one at the end.
///
/// Call under the stripe of the object, without a lease; sources in the order of their times.
class DrawingFilter
{
public:
    /// Appends to `out`. `kind` is the object's, which a dense entry gets back where what was
    /// marked has none of its own.
    DrawingFilter(TransitionBlockStore& blocks, long long from, long long to, long long minDelta,
                  ValueType kind, std::vector<Transition>& out)
        : m_blocks(blocks), m_from(from), m_to(to), m_minDelta(minDelta), m_kind(kind),
          m_denseType(kind), m_out(out)
    {}

    /// Filters the transitions of a BlockReader or a RecordReader.
    template <typename Reader> void processTransition(const Reader& reader, long long lastTime);
    /// Filters a tree. A subtree that is closer than minDelta throughout costs its first and its
    /// last block, and gives one run; `markEnd` makes the end of the run dense as well.
    void collectTransitions(BTreeElem& elem, bool markEnd);
    /// Gives a dense last entry its kind back; false if it is not dense.
    bool unmarkLast();

private:
    template <typename Reader> void add(const Reader& reader, int i, long long time);
    void markLast();

    TransitionBlockStore& m_blocks;
    const long long m_from;
    const long long m_to;
    const long long m_minDelta;
    const ValueType m_kind;
    /// Of the last entry before it was marked.
    ValueType m_denseType;
    std::vector<Transition>& m_out;
};

template <typename Reader>
void DrawingFilter::processTransition(const Reader& reader, long long lastTime)
{
    if (m_from > lastTime || m_to < reader.firstTime() || reader.count() < 1) {
        return;
    }
    long long time = reader.firstTime();
    for (int i = 0;;) {
        if (time >= m_from) {
            add(reader, i, time);
        }
        if (i + 1 >= reader.count()) {
            return;
        }
        time = Reader::advance(time, reader.delta(i));
        if (time >= m_to) {
            return;
        }
        ++i;
    }
}

template <typename Reader> void DrawingFilter::add(const Reader& reader, int i, long long time)
{
    Transition transition = transitionAt(reader, i, time);
    if (time == m_from || m_out.empty()) {
        m_out.push_back(std::move(transition));
        return;
    }
    const bool isDense = m_out.back().value.getType() == ValueDense;
    if (timeBetween(m_out.back().time, time) >= m_minDelta) {
        unmarkLast();
        m_out.push_back(std::move(transition));
        return;
    }
    if (isDense) {
        m_out.back() = std::move(transition);
    } else {
        markLast();
        m_out.push_back(std::move(transition));
    }
    markLast();
}

} // namespace Tracewell
