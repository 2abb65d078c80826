// SPDX-License-Identifier: BSD-3-Clause

#include "SegmentFile.h"

#include "Packing.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace Tracewell {

namespace {

template <class Record> const char* charsOf(const Record& record)
{
    return reinterpret_cast<const char*>(&record);
}

/// As they lie in the file: the checksum of what follows, and the runs.
Bytes listFields(const FieldRuns& fields)
{
    const std::vector<FieldRun>& runs = fields.runs();
    Bytes bytes;
    appendRecord(bytes, checksumOf(runs.data(), runs.size() * sizeof(FieldRun)));
    for (const FieldRun& run : runs) {
        appendRecord(bytes, run);
    }
    return bytes;
}

} // namespace

SegmentFile::SegmentFile(WdbFileManager& file, const FieldRuns& fields)
    : m_blocks(file.getFileBlockManager())
{
    m_root.magic = kRootMagic;
    m_root.wholeTime = -1;
    m_root.latestTime = -1;
    if (fields.count() > 0) {
        const Bytes bytes = listFields(fields);
        m_root.fields.offset = static_cast<std::uint64_t>(
            m_blocks.addBlock(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        m_root.fields.size = bytes.size();
    }
    const std::array<ColumnRoot, 2> roots{};
    m_section = m_blocks.addBlock(charsOf(roots), sizeof roots);
    writeRoot({-1, -1});
    file.addNewSection(kColumnSectionId, kColumnSectionVersion, m_section, sizeof roots);
}

void SegmentFile::addShort(const Bytes& segment, SegmentRecord record, std::size_t replaced,
                           const Reached& reached)
{
    record.offset = place(segment);
    // What is left must not be written over before the root no longer lists it.
    const std::vector<SegmentRecord> left(m_root.shorts + m_root.shortSegments - replaced,
                                          m_root.shorts + m_root.shortSegments);
    m_root.shortSegments -= static_cast<std::uint32_t>(replaced);
    m_root.shorts[m_root.shortSegments++] = record;
    m_root.changes += record.changes;
    for (const SegmentRecord& old : left) {
        m_root.changes -= old.changes;
        addFree({old.offset, old.size});
    }
    writeRoot(reached);
}

void SegmentFile::addFull(const Bytes& segment, SegmentRecord record, const Reached& reached)
{
    record.offset = place(segment);
    list(record);
    m_root.changes += record.changes;
    for (std::uint32_t i = 0; i < m_root.shortSegments; ++i) {
        m_root.changes -= m_root.shorts[i].changes;
        addFree({m_root.shorts[i].offset, m_root.shorts[i].size});
    }
    m_root.shortSegments = 0;
    writeRoot(reached);
}

void SegmentFile::addDigest(DigestBuilder& digest)
{
    m_root.digest = place(digest.finish(m_root.digest));
    ++m_root.digests;
}

void SegmentFile::setReached(const Reached& reached)
{
    writeRoot(reached);
}

std::uint64_t SegmentFile::place(const Bytes& segment)
{
    const char* const data = reinterpret_cast<const char*>(segment.data());
    ColumnExtent* best = nullptr;
    for (std::uint32_t i = 0; i < m_root.freeExtents; ++i) {
        ColumnExtent& extent = m_root.free[i];
        if (extent.size >= segment.size() && (best == nullptr || extent.size < best->size)) {
            best = &extent;
        }
    }
    if (best == nullptr) {
        return static_cast<std::uint64_t>(m_blocks.addBlock(data, segment.size()));
    }
    const std::uint64_t offset = best->offset;
    best->offset += segment.size();
    best->size -= segment.size();
    if (best->size == 0) {
        *best = m_root.free[--m_root.freeExtents];
    }
    m_blocks.putBlock(static_cast<long long>(offset), data, segment.size());
    return offset;
}

/// Neighbours become one. Where there is no room to list another one, the smallest is given up.
void SegmentFile::addFree(ColumnExtent extent)
{
    for (std::uint32_t i = 0; i < m_root.freeExtents;) {
        const ColumnExtent other = m_root.free[i];
        if (other.offset + other.size == extent.offset ||
            extent.offset + extent.size == other.offset) {
            extent = {std::min(extent.offset, other.offset), extent.size + other.size};
            m_root.free[i] = m_root.free[--m_root.freeExtents];
            i = 0;
        } else {
            ++i;
        }
    }
    if (m_root.freeExtents < kMostFreeExtents) {
        m_root.free[m_root.freeExtents++] = extent;
        return;
    }
    ColumnExtent* const smallest = std::min_element(
        m_root.free, m_root.free + kMostFreeExtents,
        [](const ColumnExtent& a, const ColumnExtent& b) { return a.size < b.size; });
    if (smallest->size < extent.size) {
        *smallest = extent;
    }
}

void SegmentFile::list(const SegmentRecord& record)
{
    const auto inChunk = static_cast<std::uint32_t>(m_root.fullSegments % kRecordsOfChunk);
    if (inChunk == 0) {
        const auto chunk = std::make_unique<CatalogChunk>();
        chunk->records[0] = record;
        const long long offset = m_blocks.addBlock(charsOf(*chunk), sizeof *chunk);
        if (m_chunk == 0) {
            m_root.catalog = static_cast<std::uint64_t>(offset);
        } else {
            m_blocks.putBlock(m_chunk, charsOf(offset), sizeof offset);
        }
        m_chunk = offset;
    } else {
        m_blocks.putBlock(m_chunk + static_cast<long long>(offsetof(CatalogChunk, records) +
                                                           inChunk * sizeof record),
                          charsOf(record), sizeof record);
    }
    ++m_root.fullSegments;
}

void SegmentFile::writeRoot(const Reached& reached)
{
    m_root.wholeTime = std::max(m_root.wholeTime, static_cast<std::int64_t>(reached.wholeTime));
    m_root.latestTime = std::max(m_root.latestTime, static_cast<std::int64_t>(reached.latestTime));
    ++m_root.sequence;
    m_root.checksum = checksumOf(&m_root, offsetof(ColumnRoot, checksum));
    m_blocks.putBlock(m_section + static_cast<long long>(m_root.sequence % 2 * sizeof m_root),
                      charsOf(m_root), sizeof m_root);
}

} // namespace Tracewell
