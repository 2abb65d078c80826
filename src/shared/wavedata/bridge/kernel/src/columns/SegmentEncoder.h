// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "ChangeLog.h"
#include "DigestBuilder.h"
#include "PageBuilder.h"

#include <vector>

namespace Tracewell {

/// Makes segments of logs.
class SegmentEncoder
{
public:
    /// A stretch of a log.
    struct Stretch
    {
        std::uint32_t beginChange;
        std::uint32_t endChange;
        /// Into the log's new fields.
        std::uint32_t beginField;
        std::uint32_t endField;
    };

    /// The fields that are there before the first log.
    explicit SegmentEncoder(const FieldRuns& fields);

    /// The segment's bytes, valid until the next one, and all of its record but the place. The
    /// stretch has changes. A digest that is to know of the segment takes it in.
    const Bytes& encode(const ChangeLog& log, const Stretch& stretch, SegmentRecord& record,
                        DigestBuilder* digest = nullptr);

private:
    void sort(const ChangeLog& log, const Stretch& stretch);
    void addFields(const long long* times, DigestBuilder* digest);
    std::uint32_t dropRepeats(std::uint32_t field, std::uint32_t begin, std::uint32_t end);
    void addTimes(const long long* times, std::uint32_t count,
                  std::vector<TimeChunkRecord>& chunks);

    std::vector<bool> m_isCounter;
    /// Of each field: how many changes, then where the next one goes.
    std::vector<std::uint32_t> m_places;
    // By field, and in the order in which they came.
    std::unique_ptr<std::uint32_t[]> m_numbers;
    std::unique_ptr<std::uint64_t[]> m_values;

    Packer m_packer;
    PageBuilder m_page;
    std::vector<PageRecord> m_pages;
    Bytes m_index;
    Bytes m_data;
    Bytes m_timeBytes;
    Bytes m_scratch;
    Bytes m_segment;
};

} // namespace Tracewell
