// SPDX-License-Identifier: BSD-3-Clause

#include "WdbColumnReader.h"

#include "ColumnFile.h"
#include "FieldWalk.h"
#include "QsimException.h"

#include <algorithm>
#include <limits>

namespace Tracewell {

WdbColumnReader::WdbColumnReader() : m_file(std::make_unique<ColumnFile>()) {}

WdbColumnReader::~WdbColumnReader() = default;

void WdbColumnReader::open(const std::string& path)
{
    m_file->open(path);
    sortRuns();
}

bool WdbColumnReader::isColumns(const WdbFileManager& file)
{
    WdbTableOfContentItem section;
    try {
        return file.getSection(kColumnSectionId, kColumnSectionVersion, section);
    } catch (const Qsim::OpenException&) {
        return false;
    }
}

bool WdbColumnReader::refresh()
{
    if (!m_file->refresh()) {
        return false;
    }
    sortRuns();
    return true;
}

void WdbColumnReader::sortRuns()
{
    const std::vector<FieldRun>& runs = m_file->fields().runs();
    m_byAddress.clear();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (runs[i].size > 0) {
            m_byAddress.push_back(i);
        }
    }
    std::stable_sort(m_byAddress.begin(), m_byAddress.end(), [&](std::size_t a, std::size_t b) {
        return runs[a].address < runs[b].address;
    });
}

WdbFileManager& WdbColumnReader::getFileManager()
{
    return m_file->manager();
}

const WdbFileManager& WdbColumnReader::getFileManager() const
{
    return m_file->manager();
}

bool WdbColumnReader::isClosed() const
{
    return getWholeTime() == std::numeric_limits<long long>::max();
}

long long WdbColumnReader::getWholeTime() const
{
    return m_file->root().wholeTime;
}

long long WdbColumnReader::getLatestTime() const
{
    return m_file->root().latestTime;
}

long long WdbColumnReader::getLastChangeTime() const
{
    return m_file->segments().empty() ? -1 : m_file->segments().back().lastTime;
}

unsigned long long WdbColumnReader::getChangeCount() const
{
    return m_file->root().changes;
}

unsigned int WdbColumnReader::getFieldCount() const
{
    return m_file->fields().count();
}

WdbColumnField WdbColumnReader::getField(unsigned int field) const
{
    const FieldRuns::Field found = m_file->fields().at(field);
    return {static_cast<long long>(found.address), found.size, found.isCounter};
}

std::vector<unsigned int> WdbColumnReader::findFields(long long address, long long size) const
{
    std::vector<unsigned int> found;
    if (address < 0 || address >= kAddressEnd) {
        return found;
    }
    const std::vector<FieldRun>& runs = m_file->fields().runs();
    const auto begin = static_cast<std::uint64_t>(address);
    const std::uint64_t end = begin + static_cast<std::uint64_t>(std::max(size, 0LL));
    // Runs do not overlap in a sound file.
    auto i = std::partition_point(m_byAddress.begin(), m_byAddress.end(),
                                  [&](std::size_t run) { return runs[run].end() <= begin; });
    for (; i != m_byAddress.end() && runs[*i].address < end; ++i) {
        const FieldRun& run = runs[*i];
        const std::uint64_t first = begin > run.address ? (begin - run.address) / run.size : 0;
        for (std::uint64_t k = first; k < run.count && run.address + k * run.size < end; ++k) {
            found.push_back(m_file->fields().firstIdOf(*i) + static_cast<unsigned int>(k));
        }
    }
    return found;
}

std::unique_ptr<WdbColumnHistory> WdbColumnReader::getHistory(unsigned int field, long long from,
                                                              long long to,
                                                              long long resolution) const
{
    return std::unique_ptr<WdbColumnHistory>(
        new WdbColumnHistory(*m_file, field, getField(field).isCounter, from, to, resolution));
}

bool WdbColumnReader::getNextChange(unsigned int field, long long time, long long& out) const
{
    FieldWalk walk(*m_file, field);
    const bool hasValue = walk.seek(time);
    const unsigned long long before = hasValue ? walk.value() : 0;
    while (walk.next()) {
        if (getField(field).isCounter) {
            out = walk.time();
            return true;
        }
        // The last one of a time counts.
        const long long found = walk.time();
        unsigned long long value = walk.value();
        while (walk.next()) {
            if (walk.time() != found) {
                walk.previous();
                break;
            }
            value = walk.value();
        }
        if (!hasValue || value != before) {
            out = found;
            return true;
        }
    }
    return false;
}

bool WdbColumnReader::getPreviousChange(unsigned int field, long long time, long long& out) const
{
    FieldWalk walk(*m_file, field);
    if (time == std::numeric_limits<long long>::min() || !walk.seek(time - 1)) {
        return false;
    }
    out = walk.time();
    if (getField(field).isCounter) {
        return true;
    }
    const unsigned long long value = walk.value();
    while (walk.previous()) {
        if (walk.time() == out) {
            continue;
        }
        if (walk.value() != value) {
            return true;
        }
        out = walk.time();
    }
    return true;
}

std::unique_ptr<WdbColumnReplay>
WdbColumnReader::getReplay(const std::vector<unsigned int>& fields) const
{
    return std::unique_ptr<WdbColumnReplay>(new WdbColumnReplay(*m_file, fields));
}

bool WdbColumnReader::survey(const std::function<void(const WdbColumnExtent&)>& tell) const
{
    const ColumnRoot& root = m_file->root();
    const auto run = [&](WdbColumnExtent::Kind kind, std::uint64_t offset, std::uint64_t size) {
        WdbColumnExtent extent;
        extent.m_kind = kind;
        extent.m_offset = static_cast<long long>(offset);
        extent.m_size = static_cast<long long>(size);
        return extent;
    };
    if (root.fields.size > 0) {
        WdbColumnExtent fields = run(WdbColumnExtent::Fields, root.fields.offset, root.fields.size);
        fields.m_isSound = m_file->fields().count() > 0;
        tell(fields);
    }
    for (const std::uint64_t chunk : m_file->catalog()) {
        tell(run(WdbColumnExtent::Catalog, chunk, sizeof(CatalogChunk)));
    }
    for (std::size_t i = 0; i < m_file->segments().size(); ++i) {
        const SegmentRecord& record = m_file->segments()[i];
        WdbColumnExtent segment = run(i < m_file->fullSegments() ? WdbColumnExtent::Segment
                                                                 : WdbColumnExtent::ShortSegment,
                                      record.offset, record.size);
        segment.m_firstTime = record.firstTime;
        segment.m_lastTime = record.lastTime;
        segment.m_changes = record.changes;
        segment.m_isSound = m_file->checkSegment(i);
        tell(segment);
    }
    const bool areDigestsSound = m_file->checkDigests([&](const ColumnExtent& place, bool isSound) {
        WdbColumnExtent digest = run(WdbColumnExtent::Digest, place.offset, place.size);
        digest.m_isSound = isSound;
        tell(digest);
    });
    if (!areDigestsSound) {
        WdbColumnExtent digest = run(WdbColumnExtent::Digest, root.digest, sizeof(DigestHead));
        digest.m_isSound = false;
        tell(digest);
    }
    for (std::uint32_t i = 0; i < root.freeExtents; ++i) {
        tell(run(WdbColumnExtent::Free, root.free[i].offset, root.free[i].size));
    }
    return m_file->areRootsSound();
}

} // namespace Tracewell
