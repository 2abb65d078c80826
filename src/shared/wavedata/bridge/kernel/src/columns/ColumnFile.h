// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ByteCache.h"
#include "DigestReader.h"
#include "PageReader.h"
#include "WdbFileManager.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

/// A recording in columns as its reader sees it: the segments that one root of the file lists, and
/// what was read of them last. What is damaged is noted in the file's log and not there. One
/// thread.
class ColumnFile
{
public:
    ColumnFile();
    ~ColumnFile();

    /// \throws Qsim::OpenException
    void open(const std::string& path);
    /// Looks at the root again, and says whether it is another one. Whoever walks the segments
    /// starts anew.
    bool refresh();

    WdbFileManager& manager() { return m_manager; }
    const ColumnRoot& root() const { return m_root; }
    /// In the order of time: one begins at the last time of the one before it or behind that.
    const std::vector<SegmentRecord>& segments() const { return m_segments; }
    /// The size of one that is not known is 0.
    const FieldRuns& fields() const { return m_fields; }

    // Null where it is damaged.

    std::shared_ptr<const SegmentInfo> segment(std::size_t segment);
    std::shared_ptr<const PageIndex> pageIndex(std::size_t segment, std::size_t page);
    std::shared_ptr<const PageData> pageData(std::size_t segment, std::size_t page);
    std::shared_ptr<const TimeChunk> times(std::size_t segment, std::size_t chunk);

    enum class InDigest { Unknown, Absent, Present };
    /// What the digest of that number, of kSegmentsOfDigest full segments, says of the field.
    InDigest lookUp(std::size_t digest, std::uint32_t field, DigestEntry& out);

    void noteDamage(std::size_t segment, std::uint64_t offset, std::uint64_t size);
    /// Whether all of it can be read; notes what cannot.
    bool checkSegment(std::size_t segment);
    bool areRootsSound() const;
    /// Of each digest that was found, where it lies and whether all of it can be read. False when
    /// others are missing.
    bool checkDigests(const std::function<void(const ColumnExtent&, bool)>& tell);
    std::size_t fullSegments() const { return m_fullSegments; }
    /// Where the parts of the list of full segments lie.
    const std::vector<std::uint64_t>& catalog() const { return m_catalog; }

private:
    static bool isSound(const ColumnRoot& root);
    bool readRoot(ColumnRoot& out) const;
    void loadSegments();
    bool loadShorts();
    void loadFields();
    void loadDigests();
    bool readDigestHead(std::uint64_t offset, std::size_t number, DigestInfo& out) const;
    std::shared_ptr<const DigestPage> digestPage(std::size_t digest, std::size_t page);
    bool isPlausible(const SegmentRecord& record) const;
    void addSegment(const SegmentRecord& record);
    bool readRun(std::size_t segment, std::uint64_t offset, std::uint64_t size,
                 std::uint64_t checksum, Bytes& out);
    bool readFile(std::uint64_t offset, std::uint64_t size, Bytes& out) const;
    template <class Record> bool readRecord(std::uint64_t offset, Record& out) const;
    void noteListDamage(std::uint64_t offset, std::uint64_t size);

    WdbFileManager m_manager;
    std::uint64_t m_section = 0;
    ColumnRoot m_root{};
    std::vector<SegmentRecord> m_segments;
    /// Of all of them: no more than are in the file, so that a short one lists few.
    std::uint64_t m_segmentBytes = 0;
    std::size_t m_fullSegments = 0;
    std::vector<std::uint64_t> m_catalog;
    /// Short segments may be written over, so they are here whole.
    std::vector<Bytes> m_shorts;
    FieldRuns m_fields;
    /// Those that are damaged, and before one that is, have no pages.
    std::vector<DigestInfo> m_digests;
    bool m_areDigestsSound = true;
    ByteCache<SegmentInfo> m_infos;
    ByteCache<PageIndex> m_indexes;
    ByteCache<PageData> m_pages;
    ByteCache<TimeChunk> m_times;
    ByteCache<DigestPage> m_digestPages;
};

} // namespace Tracewell
