// SPDX-License-Identifier: BSD-3-Clause

#include "ColumnFile.h"

#include "Packing.h"
#include "QsimException.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <thread>

namespace Tracewell {

namespace {

constexpr std::size_t kInfoBytes = 16u << 20;
constexpr std::size_t kIndexBytes = 24u << 20;
constexpr std::size_t kPageBytes = 64u << 20;
constexpr std::size_t kTimeBytes = 32u << 20;
constexpr std::size_t kDigestBytes = 4u << 20;
/// A root is written in no time; only a writer that writes without end hides it so often.
constexpr int kMostTries = 1000;
/// Of reading short segments while the writer steps on, which are whole as a rule all the same.
constexpr int kTriesForPeace = 4;
constexpr std::uint64_t kMostSegmentBytes = std::numeric_limits<std::uint32_t>::max();

std::uint64_t keyOf(std::size_t segment, std::size_t part)
{
    return std::uint64_t{segment} << 32 | part;
}

} // namespace

ColumnFile::ColumnFile()
    : m_infos(kInfoBytes), m_indexes(kIndexBytes), m_pages(kPageBytes), m_times(kTimeBytes),
      m_digestPages(kDigestBytes)
{}

ColumnFile::~ColumnFile() = default;

void ColumnFile::open(const std::string& path)
{
    m_manager.open(path);
    WdbTableOfContentItem section;
    m_manager.getSection(kColumnSectionId, kColumnSectionVersion, section);
    m_section = static_cast<std::uint64_t>(section.m_fileOffset);
    if (!m_manager.getFileBlockManager().contains(section.m_fileOffset, 2 * sizeof(ColumnRoot)) ||
        !readRoot(m_root)) {
        throw Qsim::OpenException("QSim", __FILE__, "", __LINE__,
                                  "The list of segments of the recording is damaged.");
    }
    loadSegments();
}

bool ColumnFile::refresh()
{
    ColumnRoot root;
    if (!readRoot(root) || root.sequence == m_root.sequence) {
        return false;
    }
    m_root = root;
    m_infos.clear();
    m_indexes.clear();
    m_pages.clear();
    m_times.clear();
    m_digestPages.clear();
    loadSegments();
    return true;
}

bool ColumnFile::isSound(const ColumnRoot& root)
{
    return root.magic == kRootMagic && root.shortSegments <= kMostShortSegments &&
           root.freeExtents <= kMostFreeExtents &&
           root.checksum == checksumOf(&root, offsetof(ColumnRoot, checksum));
}

/// The second one may not have been written yet.
bool ColumnFile::areRootsSound() const
{
    ColumnRoot roots[2];
    m_manager.getFileBlockManager().getBlock(static_cast<long long>(m_section),
                                             reinterpret_cast<char*>(roots), sizeof roots);
    return (isSound(roots[0]) || m_root.sequence == 1) && isSound(roots[1]);
}

bool ColumnFile::readRoot(ColumnRoot& out) const
{
    for (int i = 0; i < kMostTries; ++i) {
        ColumnRoot roots[2];
        m_manager.getFileBlockManager().getBlock(static_cast<long long>(m_section),
                                                 reinterpret_cast<char*>(roots), sizeof roots);
        const ColumnRoot* best = nullptr;
        for (const ColumnRoot& root : roots) {
            if (isSound(root) && (best == nullptr || root.sequence > best->sequence)) {
                best = &root;
            }
        }
        if (best != nullptr) {
            out = *best;
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

void ColumnFile::loadSegments()
{
    for (int i = 0;; ++i) {
        m_segments.clear();
        m_segmentBytes = 0;
        std::uint64_t chunkOffset = m_root.catalog;
        m_catalog.clear();
        std::set<std::uint64_t> seen;
        CatalogChunk chunk;
        for (std::uint64_t listed = 0; listed < m_root.fullSegments; ++listed) {
            const std::uint64_t inChunk = listed % kRecordsOfChunk;
            if (inChunk == 0) {
                const auto place = static_cast<long long>(chunkOffset);
                if (!m_manager.getFileBlockManager().contains(place, sizeof chunk) ||
                    !seen.insert(chunkOffset).second) {
                    noteListDamage(chunkOffset, sizeof chunk);
                    break;
                }
                m_manager.getFileBlockManager().getBlock(place, reinterpret_cast<char*>(&chunk),
                                                         sizeof chunk);
                m_catalog.push_back(chunkOffset);
            }
            if (!isPlausible(chunk.records[inChunk])) {
                noteListDamage(chunkOffset, sizeof chunk);
                break;
            }
            addSegment(chunk.records[inChunk]);
            if (inChunk + 1 == kRecordsOfChunk) {
                chunkOffset = chunk.next;
            }
        }
        m_fullSegments = m_segments.size();
        if (m_fullSegments == m_root.fullSegments) {
            for (std::uint32_t s = 0; s < m_root.shortSegments; ++s) {
                if (!isPlausible(m_root.shorts[s])) {
                    noteListDamage(m_section, sizeof m_root);
                    break;
                }
                addSegment(m_root.shorts[s]);
            }
        }
        // What a short one lies in may have been given to others since the root was read, and be
        // written over from the head on, before the head was read or behind it.
        const bool isGood = loadShorts();
        ColumnRoot root;
        if (i >= (isGood ? kTriesForPeace : kMostTries) || m_shorts.empty() || !readRoot(root) ||
            root.sequence == m_root.sequence) {
            break;
        }
        m_root = root;
    }
    loadFields();
    loadDigests();
}

void ColumnFile::addSegment(const SegmentRecord& record)
{
    m_segments.push_back(record);
    m_segmentBytes += record.size;
}

bool ColumnFile::isPlausible(const SegmentRecord& record) const
{
    return record.size >= sizeof(SegmentHead) && record.size <= kMostSegmentBytes &&
           m_manager.getFileBlockManager().contains(0, m_segmentBytes + record.size) &&
           record.firstTime <= record.lastTime &&
           (m_segments.empty() || record.firstTime >= m_segments.back().lastTime);
}

bool ColumnFile::loadShorts()
{
    m_shorts.clear();
    for (std::size_t i = m_fullSegments; i < m_segments.size(); ++i) {
        const SegmentRecord& record = m_segments[i];
        Bytes bytes;
        SegmentHead head{};
        std::uint64_t checksum = 0;
        if (readFile(record.offset, record.size, bytes) && bytes.size() >= sizeof head) {
            std::memcpy(&head, bytes.data(), sizeof head);
            if (head.headSize >= sizeof head + sizeof checksum && head.headSize <= bytes.size()) {
                checksum = checksumOf(bytes.data(), head.headSize - sizeof checksum);
            }
        }
        m_shorts.push_back(std::move(bytes));
        if (checksum != record.headChecksum) {
            m_shorts.resize(m_segments.size() - m_fullSegments);
            return false;
        }
    }
    return true;
}

/// Fields that were made on the way stand in the segments that have them first.
void ColumnFile::loadFields()
{
    m_fields.clear();
    if (m_root.fields.size > 0) {
        Bytes bytes;
        if (m_root.fields.size > kMostSegmentBytes ||
            !readFile(m_root.fields.offset, m_root.fields.size, bytes) ||
            !readFields(bytes, m_fields)) {
            m_fields.clear();
            m_segments.clear();
            noteListDamage(m_root.fields.offset, m_root.fields.size);
        }
    }
    for (std::size_t i = 0; i < m_segments.size(); ++i) {
        if (m_segments[i].newFields == 0) {
            continue;
        }
        const auto info = segment(i);
        if (!info) {
            continue;
        }
        if (info->head.firstNewField < m_fields.count()) {
            noteDamage(i, m_segments[i].offset, info->head.headSize);
            continue;
        }
        if (info->head.firstNewField > m_fields.count()) {
            // Those that a damaged segment would tell of.
            m_fields.add({0, info->head.firstNewField - m_fields.count(), 0, 0, 0});
        }
        for (const FieldRun& run : info->newRuns) {
            m_fields.add(run);
        }
    }
}

/// Without a digest its segments tell the same, so that one that is damaged hides nothing.
void ColumnFile::loadDigests()
{
    m_digests.clear();
    if (m_fullSegments != m_root.fullSegments) {
        return;
    }
    // The last one of a writer that has closed is of fewer segments.
    const std::size_t whole = m_fullSegments / kSegmentsOfDigest;
    m_areDigestsSound = m_root.digests >= whole && m_root.digests <= whole + 1;
    m_digests.resize(m_areDigestsSound ? m_root.digests : 0);
    std::uint64_t offset = m_root.digest;
    std::uint64_t bytes = 0;
    for (std::uint64_t number = m_root.digests; m_areDigestsSound && number-- > 0;) {
        DigestInfo info;
        m_areDigestsSound = readDigestHead(offset, number, info);
        bytes += info.head.headSize;
        m_areDigestsSound = m_areDigestsSound && m_manager.getFileBlockManager().contains(0, bytes);
        if (m_areDigestsSound) {
            offset = info.head.previous;
            m_digests[number] = std::move(info);
        }
    }
}

bool ColumnFile::readDigestHead(std::uint64_t offset, std::size_t number, DigestInfo& out) const
{
    DigestHead head{};
    Bytes bytes;
    if (!readRecord(offset, head) || head.magic != kDigestMagic ||
        !readFile(offset, head.headSize, bytes) || !readDigestInfo(bytes, out)) {
        return false;
    }
    out.offset = offset;
    const std::size_t first = number * kSegmentsOfDigest;
    const std::size_t end = first + out.head.segments;
    const bool isWhole = out.head.segments == kSegmentsOfDigest;
    return out.head.firstSegment == first && end <= m_fullSegments &&
           (isWhole || end == m_segments.size()) &&
           out.head.firstTime == m_segments[first].firstTime &&
           out.head.lastTime == m_segments[end - 1].lastTime;
}

std::shared_ptr<const DigestPage> ColumnFile::digestPage(std::size_t number, std::size_t page)
{
    const std::uint64_t key = keyOf(number, page);
    if (auto found = m_digestPages.find(key)) {
        return found;
    }
    const DigestInfo& info = m_digests[number];
    const DigestPageRecord& record = info.pages[page];
    auto read = std::make_shared<DigestPage>();
    Bytes bytes;
    if (!readFile(info.offset + record.offset, record.stored, bytes) ||
        checksumOf(bytes.data(), bytes.size()) != record.checksum ||
        !readDigestPage(bytes, record, info.head, *read)) {
        return nullptr;
    }
    m_digestPages.add(key, read, read->capacity() * sizeof(DigestEntry));
    return read;
}

ColumnFile::InDigest ColumnFile::lookUp(std::size_t digest, std::uint32_t field, DigestEntry& out)
{
    if (digest >= m_digests.size() || m_digests[digest].pages.empty()) {
        return InDigest::Unknown;
    }
    const std::vector<DigestPageRecord>& pages = m_digests[digest].pages;
    const auto page =
        std::partition_point(pages.begin(), pages.end(), [&](const DigestPageRecord& record) {
            return record.lastField < field;
        });
    if (page == pages.end() || page->firstField > field) {
        return InDigest::Absent;
    }
    const auto entries = digestPage(digest, static_cast<std::size_t>(page - pages.begin()));
    if (!entries) {
        return InDigest::Unknown;
    }
    const auto entry =
        std::partition_point(entries->begin(), entries->end(),
                             [&](const DigestEntry& before) { return before.field < field; });
    if (entry == entries->end() || entry->field != field) {
        return InDigest::Absent;
    }
    out = *entry;
    return InDigest::Present;
}

bool ColumnFile::checkDigests(const std::function<void(const ColumnExtent&, bool)>& tell)
{
    for (std::size_t number = 0; number < m_digests.size(); ++number) {
        const DigestInfo& info = m_digests[number];
        if (info.pages.empty()) {
            continue;
        }
        std::uint64_t end = info.head.headSize;
        bool isSound = true;
        for (std::size_t page = 0; page < info.pages.size(); ++page) {
            end = std::max(end, std::uint64_t{info.pages[page].offset} + info.pages[page].stored);
            isSound = digestPage(number, page) != nullptr && isSound;
        }
        tell({info.offset, end}, isSound);
    }
    return m_areDigestsSound;
}

std::shared_ptr<const SegmentInfo> ColumnFile::segment(std::size_t number)
{
    if (auto found = m_infos.find(number)) {
        return found;
    }
    const SegmentRecord& record = m_segments[number];
    auto info = std::make_shared<SegmentInfo>();
    Bytes bytes;
    SegmentHead head{};
    std::uint64_t checksum = 0;
    const auto readHead = [&](std::uint64_t size) {
        if (number >= m_fullSegments) {
            const Bytes& whole = m_shorts[number - m_fullSegments];
            bytes.assign(whole.begin(),
                         whole.begin() + static_cast<std::ptrdiff_t>(
                                             std::min<std::uint64_t>(size, whole.size())));
            return bytes.size() == size;
        }
        return readFile(record.offset, size, bytes);
    };
    bool isGood = readHead(sizeof head);
    if (isGood) {
        std::memcpy(&head, bytes.data(), sizeof head);
        isGood = head.headSize >= sizeof head + sizeof checksum && head.headSize <= record.size &&
                 readHead(head.headSize);
    }
    if (isGood) {
        std::memcpy(&checksum, bytes.data() + head.headSize - sizeof checksum, sizeof checksum);
        isGood = checksum == record.headChecksum &&
                 checksum == checksumOf(bytes.data(), head.headSize - sizeof checksum) &&
                 readSegmentInfo(bytes, record.size, *info) &&
                 info->head.firstTime == record.firstTime &&
                 info->head.lastTime == record.lastTime && info->head.newFields == record.newFields;
    }
    if (!isGood) {
        noteDamage(number, record.offset, record.size);
        return nullptr;
    }
    m_infos.add(number, info, bytes.size() + sizeof *info);
    return info;
}

std::shared_ptr<const PageIndex> ColumnFile::pageIndex(std::size_t number, std::size_t page)
{
    const std::uint64_t key = keyOf(number, page);
    if (auto found = m_indexes.find(key)) {
        return found;
    }
    const auto info = segment(number);
    if (!info) {
        return nullptr;
    }
    const PageRecord& record = info->pages[page];
    auto index = std::make_shared<PageIndex>();
    Bytes bytes;
    if (!readRun(number, record.indexOffset, record.indexStored, record.indexChecksum, bytes)) {
        return nullptr;
    }
    if (!readPageIndex(bytes, record, info->head, *index)) {
        noteDamage(number, m_segments[number].offset + record.indexOffset, record.indexStored);
        return nullptr;
    }
    m_indexes.add(key, index, index->bytes());
    return index;
}

std::shared_ptr<const PageData> ColumnFile::pageData(std::size_t number, std::size_t page)
{
    const std::uint64_t key = keyOf(number, page);
    if (auto found = m_pages.find(key)) {
        return found;
    }
    const auto info = segment(number);
    if (!info) {
        return nullptr;
    }
    const PageRecord& record = info->pages[page];
    auto data = std::make_shared<PageData>();
    if (!readRun(number, record.dataOffset, record.dataStored, record.dataChecksum, data->stored)) {
        return nullptr;
    }
    if (!readPageData(info->head, *data)) {
        noteDamage(number, m_segments[number].offset + record.dataOffset, record.dataStored);
        return nullptr;
    }
    m_pages.add(key, data, data->stored.size() + data->unpacked.size());
    return data;
}

std::shared_ptr<const TimeChunk> ColumnFile::times(std::size_t number, std::size_t chunk)
{
    const std::uint64_t key = keyOf(number, chunk);
    if (auto found = m_times.find(key)) {
        return found;
    }
    const auto info = segment(number);
    if (!info) {
        return nullptr;
    }
    const TimeChunkRecord& record = info->chunks[chunk];
    auto times = std::make_shared<TimeChunk>();
    Bytes bytes;
    if (!readRun(number, record.offset, record.stored, record.checksum, bytes)) {
        return nullptr;
    }
    if (!readTimes(bytes, *info, static_cast<std::uint32_t>(chunk), *times)) {
        noteDamage(number, m_segments[number].offset + record.offset, record.stored);
        return nullptr;
    }
    m_times.add(key, times, times->bytes());
    return times;
}

bool ColumnFile::readRun(std::size_t number, std::uint64_t offset, std::uint64_t size,
                         std::uint64_t checksum, Bytes& out)
{
    bool isGood = false;
    if (number >= m_fullSegments) {
        const Bytes& whole = m_shorts[number - m_fullSegments];
        isGood = offset <= whole.size() && size <= whole.size() - offset;
        if (isGood) {
            const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(offset);
            out.assign(begin, begin + static_cast<std::ptrdiff_t>(size));
        }
    } else {
        isGood = readFile(m_segments[number].offset + offset, size, out);
    }
    isGood = isGood && checksumOf(out.data(), out.size()) == checksum;
    if (!isGood) {
        noteDamage(number, m_segments[number].offset + offset, size);
    }
    return isGood;
}

bool ColumnFile::readFile(std::uint64_t offset, std::uint64_t size, Bytes& out) const
{
    const WdbIBlockManager& blocks = m_manager.getFileBlockManager();
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<long long>::max()) ||
        !blocks.contains(static_cast<long long>(offset), size)) {
        return false;
    }
    out.resize(size);
    if (size > 0) {
        blocks.getBlock(static_cast<long long>(offset), reinterpret_cast<char*>(out.data()), size);
    }
    return true;
}

template <class Record> bool ColumnFile::readRecord(std::uint64_t offset, Record& out) const
{
    Bytes bytes;
    if (!readFile(offset, sizeof out, bytes)) {
        return false;
    }
    std::memcpy(&out, bytes.data(), sizeof out);
    return true;
}

bool ColumnFile::checkSegment(std::size_t number)
{
    const auto info = segment(number);
    if (!info) {
        return false;
    }
    bool isSound = true;
    for (std::size_t chunk = 0; chunk < info->chunks.size(); ++chunk) {
        isSound = (TimeChunk::isEven(info->chunks[chunk]) || times(number, chunk)) && isSound;
    }
    PartData data;
    for (std::size_t page = 0; page < info->pages.size(); ++page) {
        const auto index = pageIndex(number, page);
        const auto pageBytes = index ? pageData(number, page) : nullptr;
        if (!pageBytes) {
            isSound = false;
            continue;
        }
        PageIndex::Entry part = index->at(0);
        for (bool isThere = true; isThere; isThere = index->next(part)) {
            if (m_fields.at(part.info.field).size == 0 ||
                !readPart(*index, *pageBytes, part, info->head, data)) {
                const PageRecord& record = info->pages[page];
                noteDamage(number, m_segments[number].offset + record.dataOffset,
                           record.dataStored);
                isSound = false;
                break;
            }
        }
    }
    return isSound;
}

void ColumnFile::noteDamage(std::size_t number, std::uint64_t offset, std::uint64_t size)
{
    WdbDamage damage;
    damage.m_kind = WdbDamage::ColumnSegment;
    damage.m_offset = static_cast<long long>(offset);
    damage.m_size = size;
    damage.m_hasTime = true;
    damage.m_time = m_segments[number].firstTime;
    m_manager.getDamageLog().note(damage);
}

/// Of what lists segments: those that were found so far are whole.
void ColumnFile::noteListDamage(std::uint64_t offset, std::uint64_t size)
{
    WdbDamage damage;
    damage.m_kind = WdbDamage::ColumnSegment;
    damage.m_offset = static_cast<long long>(offset);
    damage.m_size = size;
    damage.m_hasTime = !m_segments.empty();
    damage.m_time = m_segments.empty() ? 0 : m_segments.back().lastTime;
    m_manager.getDamageLog().note(damage);
}

} // namespace Tracewell
