// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "ColumnFormat.h"
#include "Packing.h"

#include <vector>

namespace Tracewell {

/// Gathers what the full segments of a recording have of each field, and makes a digest of as many
/// as belong together.
class DigestBuilder
{
public:
    /// What a segment has of a field: `count` changes, not 0.
    struct Changes
    {
        std::uint32_t field;
        bool isCounter;
        std::uint32_t count;
        /// Of the segment, and numbers into them.
        const long long* times;
        const std::uint32_t* numbers;
        const std::uint64_t* values;
    };

    void add(const Changes& changes);
    /// All fields of the segment were added.
    void finishSegment(long long firstTime, long long lastTime);
    /// Since the last digest.
    std::uint32_t segments() const { return m_segments; }
    /// The digest's bytes, valid until the next one; starts anew.
    const Bytes& finish(std::uint64_t previous);

private:
    struct Gathered
    {
        /// 0 while there are none.
        std::uint32_t changes;
        std::uint8_t firstSegment;
        std::uint8_t lastSegment;
        /// Where two segments meet, one change takes the place of another.
        bool isUnclear;
        long long firstTime;
        long long lastTime;
        std::uint64_t widestGap;
        std::uint64_t firstValue;
        std::uint64_t lastValue;
    };

    void finishPage(const DigestHead& head, std::uint32_t begin, std::uint32_t end);

    std::vector<Gathered> m_fields;
    std::uint32_t m_segments = 0;
    std::uint64_t m_firstSegment = 0;
    long long m_firstTime = 0;
    long long m_lastTime = 0;

    Packer m_packer;
    std::vector<DigestPageRecord> m_pages;
    Bytes m_entries;
    Bytes m_packed;
    Bytes m_digest;
};

} // namespace Tracewell
