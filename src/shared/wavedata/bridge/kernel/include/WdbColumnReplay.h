// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Tracewell {

class ColumnFile;

/// The changes of a recording in columns, time by time. Holds one segment at a time. Made by a
/// WdbColumnReader, which outlives it; worthless after its refresh.
class TRACEWELL_API WdbColumnReplay
{
public:
    struct Change
    {
        /// The field's id, by which its reader knows it.
        unsigned int field;
        /// The bytes of the field, the first one lowest.
        unsigned long long value;
    };

    WdbColumnReplay(const WdbColumnReplay&) = delete;
    WdbColumnReplay& operator=(const WdbColumnReplay&) = delete;
    ~WdbColumnReplay();

    /// To the next time at which something changes; false when there is none, or damage lies before
    /// it.
    bool next();
    long long getTime() const { return m_time; }
    /// Those of that time, by their fields, and of a counter in the order in which they came.
    const std::vector<Change>& getChanges() const { return m_changes; }

private:
    friend class WdbColumnReader;
    struct Segment;

    WdbColumnReplay(ColumnFile& file, std::vector<unsigned int> wanted);
    bool loadNext();
    void takeStep();

    ColumnFile& m_file;
    /// In ascending order; empty when all are.
    std::vector<unsigned int> m_wanted;
    std::unique_ptr<Segment> m_segment;
    std::size_t m_nextSegment = 0;
    bool m_isBroken = false;
    long long m_time = 0;
    std::vector<Change> m_changes;
};

} // namespace Tracewell
