// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "ColumnFormat.h"

#include <vector>

namespace Tracewell {

/// What a digest says of a field.
struct DigestEntry
{
    std::uint32_t field = 0;
    // Of those that the digest is of, counted from its first one.
    std::uint32_t firstSegment = 0;
    std::uint32_t lastSegment = 0;
    bool hasSummary = false;
    // Of a summary.
    std::int64_t firstTime = 0;
    std::int64_t lastTime = 0;
    std::uint64_t widestGap = 0;
    std::uint64_t firstValue = 0;
    std::uint64_t lastValue = 0;
};

struct DigestInfo
{
    DigestHead head{};
    std::uint64_t offset = 0;
    std::vector<DigestPageRecord> pages;
};

/// By their fields.
using DigestPage = std::vector<DigestEntry>;

// Both give false for bytes that make no sense; what they filled in by then is worthless.

/// `bytes` are the head with the records of its pages.
bool readDigestInfo(const Bytes& bytes, DigestInfo& out);
/// Of a page whose checksum is right.
bool readDigestPage(const Bytes& stored, const DigestPageRecord& page, const DigestHead& head,
                    DigestPage& out);

} // namespace Tracewell
