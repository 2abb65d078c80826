// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "DigestBuilder.h"
#include "FieldRuns.h"

namespace Tracewell {

class WdbFileManager;
class WdbIBlockManager;

/// The section of columns in a file that is being written: where its segments lie. Each is in the
/// file before the root that lists it, so a reader beside the writer, or after its death, finds
/// what one root or the next says.
class SegmentFile
{
public:
    /// Adds the section to the file, with the fields that were declared.
    SegmentFile(WdbFileManager& file, const FieldRuns& fields);

    /// How much is in the file with a segment.
    struct Reached
    {
        long long wholeTime;
        long long latestTime;
    };

    /// The segment takes the place of the last `replaced` short ones.
    void addShort(const Bytes& segment, SegmentRecord record, std::size_t replaced,
                  const Reached& reached);
    /// The segment takes the place of all short ones.
    void addFull(const Bytes& segment, SegmentRecord record, const Reached& reached);
    /// Of full segments since the last one, all of which the next root lists.
    void addDigest(DigestBuilder& digest);
    /// No more comes, or nothing but time.
    void setReached(const Reached& reached);

private:
    std::uint64_t place(const Bytes& segment);
    void addFree(ColumnExtent extent);
    void list(const SegmentRecord& record);
    void writeRoot(const Reached& reached);

    WdbIBlockManager& m_blocks;
    long long m_section;
    ColumnRoot m_root{};
    /// The chunk that takes the next full segment; 0 before the first one.
    long long m_chunk = 0;
};

} // namespace Tracewell
