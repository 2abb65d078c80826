// SPDX-License-Identifier: BSD-3-Clause

#include "DigestReader.h"

#include "Packing.h"

namespace Tracewell {

bool readDigestInfo(const Bytes& bytes, DigestInfo& out)
{
    ByteWalk walk(bytes.data(), bytes.size());
    walk.read(out.head);
    const std::uint64_t size = sizeof out.head +
                               std::uint64_t{out.head.pages} * sizeof(DigestPageRecord) +
                               sizeof(std::uint64_t);
    if (!walk.isGood() || out.head.magic != kDigestMagic || size != out.head.headSize ||
        size != bytes.size() || out.head.lastTime < out.head.firstTime || out.head.pages == 0 ||
        out.head.segments == 0 || out.head.segments > kSegmentsOfDigest) {
        return false;
    }
    out.pages.resize(out.head.pages);
    std::uint64_t field = 0;
    for (DigestPageRecord& page : out.pages) {
        walk.read(page);
        if (page.firstField < field || page.lastField < page.firstField ||
            page.raw > kMostDigestPageBytes) {
            return false;
        }
        field = std::uint64_t{page.lastField} + 1;
    }
    std::uint64_t checksum = 0;
    walk.read(checksum);
    return walk.isGood() && checksum == checksumOf(bytes.data(), bytes.size() - sizeof checksum);
}

bool readDigestPage(const Bytes& stored, const DigestPageRecord& page, const DigestHead& head,
                    DigestPage& out)
{
    Bytes raw(page.raw);
    if (page.raw > kMostDigestPageBytes || !unpack(static_cast<Codec>(page.codec), stored.data(),
                                                   stored.size(), raw.data(), raw.size())) {
        return false;
    }
    const std::uint64_t span =
        static_cast<std::uint64_t>(head.lastTime) - static_cast<std::uint64_t>(head.firstTime);
    ByteWalk walk(raw.data(), raw.size());
    DigestEntry entry;
    entry.field = page.firstField;
    while (!walk.isAtEnd()) {
        const std::uint64_t step = walk.number();
        std::uint8_t first = 0;
        std::uint8_t last = 0;
        walk.read(first);
        walk.read(last);
        if (!walk.isGood() || step > page.lastField - entry.field || (step == 0) != out.empty()) {
            return false;
        }
        entry.field += static_cast<std::uint32_t>(step);
        entry.hasSummary = (first & kDigestSummary) != 0;
        entry.firstSegment = first & ~kDigestSummary;
        entry.lastSegment = last;
        if (entry.lastSegment >= head.segments || entry.firstSegment > entry.lastSegment) {
            return false;
        }
        if (entry.hasSummary) {
            const std::uint64_t before = walk.number();
            const std::uint64_t length = walk.number();
            entry.widestGap = walk.number();
            entry.firstValue = walk.number();
            entry.lastValue = walk.number();
            if (before > span || length > span - before || entry.widestGap > length) {
                return false;
            }
            const std::uint64_t begin = static_cast<std::uint64_t>(head.firstTime) + before;
            entry.firstTime = static_cast<std::int64_t>(begin);
            entry.lastTime = static_cast<std::int64_t>(begin + length);
        }
        out.push_back(entry);
    }
    return walk.isGood() && !out.empty() && entry.field == page.lastField;
}

} // namespace Tracewell
