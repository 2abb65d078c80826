// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/MergedCursor.h"

#include "WdbScalarBTree.h"

#include <memory>
#include <optional>
#include <vector>

namespace tracewell {

/// The history of a signal in an event database: what a reader's getValueEvents tells of its trees,
/// without holding more than one answer in memory.
class TreeCursor : public MergedCursor
{
public:
    /// One tree for each byte of the plain value, then either none or eight for the override. The
    /// trees must outlive the cursor. `latestTime` is the recording's.
    TreeCursor(const Signal& signal, const std::vector<Tracewell::WdbScalarBTree*>& trees,
               const TimeWindow& window, long long latestTime);

private:
    struct Column
    {
        std::unique_ptr<Tracewell::WdbScalarBTree::Iterator> iterator;
        Tracewell::WdbByteValue value;
    };

    std::optional<long long> step(std::size_t column) override;
    bool take(std::size_t column) override;
    void setKind(const Tracewell::WdbByteValue& before, const Tracewell::WdbByteValue& now,
                 bool plain);
    void finishState() override;
    void countFirings();

    std::size_t m_plainColumns;
    long long m_to;
    std::vector<Column> m_columns;
    std::vector<unsigned char> m_overrideBytes;
    std::size_t m_blankColumns;
    std::size_t m_denseColumns = 0;
    bool m_countKnown = true;
    unsigned char m_lastCount = 0;
};

} // namespace tracewell
