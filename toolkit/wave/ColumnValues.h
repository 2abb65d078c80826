// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalValues.h"

#include <string>
#include <vector>

namespace tracewell {

class ColumnWaveFile;

/// The histories of signals in a recording in columns.
class ColumnValues : public SignalValues
{
public:
    ColumnValues(ColumnWaveFile& file, std::vector<Signal> chosen);

    std::string lookUp(long long id) const override;
    bool visitPlain(std::size_t signal, long long from, long long to,
                    const VisitPlain& visit) const override;

protected:
    std::unique_ptr<SignalCursor> wholeCursor(std::size_t signal,
                                              const TimeWindow& window) const override;
    std::optional<long long> nextWholeChange(std::size_t signal, long long time) const override;
    std::optional<long long> previousWholeChange(std::size_t signal, long long time) const override;

private:
    /// The recording's fields that a signal lies in.
    struct Fields
    {
        std::vector<unsigned int> plain;
        std::vector<unsigned int> override;
        /// Some have bytes that are none of the signal's, so that they change without it.
        bool areShared = false;
    };

    std::optional<long long> lastChangeBefore(std::size_t signal, long long time) const;

    ColumnWaveFile& m_file;
    std::vector<Fields> m_fields;
};

} // namespace tracewell
