// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/MergedCursor.h"

#include "WdbColumnHistory.h"

#include <memory>
#include <optional>
#include <vector>

namespace tracewell {

class ColumnWaveFile;

/// The history of a signal in a recording in columns: those of its fields, merged.
class ColumnCursor : public MergedCursor
{
public:
    /// Fields of the plain value, and of the override. The file must outlive the cursor.
    ColumnCursor(const ColumnWaveFile& file, const Signal& signal,
                 const std::vector<unsigned int>& plain, const std::vector<unsigned int>& override,
                 const TimeWindow& window);

    /// Also false behind what is whole.
    bool next() override;

private:
    struct Column
    {
        std::unique_ptr<Tracewell::WdbColumnHistory> history;
        /// Where the field's bytes go: into `target` from `begin` on, `size` of them, of which
        /// `skipped` lie in front of it.
        std::vector<unsigned char>* target = nullptr;
        std::size_t begin = 0;
        std::size_t size = 0;
        std::size_t skipped = 0;
        bool hasValue = false;
        bool isDense = false;
    };

    void addColumn(unsigned int field, long long address, std::vector<unsigned char>& target,
                   const TimeWindow& window);
    std::optional<long long> step(std::size_t column) override;
    bool take(std::size_t column) override;
    void finishState() override;

    const ColumnWaveFile& m_file;
    std::vector<unsigned char> m_overrideBytes;
    std::vector<Column> m_columns;
    /// Bytes of the plain value that have none yet.
    std::size_t m_blankBytes;
    std::size_t m_denseColumns = 0;
    // Of an event.
    bool m_countKnown = true;
    unsigned char m_lastCount = 0;
    unsigned int m_fired = 0;
};

} // namespace tracewell
