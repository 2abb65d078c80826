// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TimeMerge.h"
#include "WdbScalarBTree.h"
#include "WdbTimeByteValues.h"

#include <boost/ptr_container/ptr_vector.hpp>

#include <vector>

namespace Tracewell {

/// Walks the answers of several trees together in time order, and keeps the value of each column.
class ColumnMerge
{
public:
    /// A column ends where its answers come to lie after `toTime`.
    ColumnMerge(unsigned int columns, long long toTime) : m_toTime(toTime), m_current(columns) {}

    /// Takes over the next column's iterator. \throws boost::bad_pointer for null
    void add(WdbScalarBTree::Iterator* iterator);

    /// Appends the starting picture, at the latest of the columns' first times, and then the values
    /// of all columns at each time at which one of them changed. Nothing when no column has an
    /// answer.
    void run(std::vector<WdbTimeByteValues>& out);

private:
    bool hasAnswer(const WdbScalarBTree::Iterator& iterator) const
    {
        return iterator && iterator.getTime() <= m_toTime;
    }
    bool takeAnswers();
    void emit(long long time, std::vector<WdbTimeByteValues>& out);

    long long m_toTime;
    WdbTimeByteValues m_current;
    boost::ptr_vector<WdbScalarBTree::Iterator> m_iterators;
    /// The columns that have an answer left.
    TimeMerge<unsigned int> m_waiting;
    /// Those whose answers make up the step at hand.
    std::vector<unsigned int> m_due;
    /// The latest of the columns' first times.
    long long m_latestStart = 0;
};

} // namespace Tracewell
