// SPDX-License-Identifier: BSD-3-Clause

// A recording in columns: as it is, and with all of its checksums made to be right, since a change
// of a byte would come no further than to them.

#include "Harness.h"
#include "MemoryFile.h"

#include "ColumnFormat.h"
#include "Packing.h"
#include "QsimException.h"
#include "WdbColumnReader.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace Tracewell;

namespace {

constexpr long long kEver = std::numeric_limits<long long>::max();
constexpr int kMostAnswers = 50000;
constexpr std::size_t kMostAsked = 24;

/// Makes right what can be found.
class Sealer
{
public:
    explicit Sealer(std::vector<std::uint8_t>& bytes) : m_bytes(bytes) {}

    void seal()
    {
        constexpr char kMagic[] = {'C', 'O', 'L', 'R', 'O', 'O', 'T', '1'};
        for (auto at = m_bytes.begin();; ++at) {
            at = std::search(at, m_bytes.end(), std::begin(kMagic), std::end(kMagic));
            if (at == m_bytes.end()) {
                return;
            }
            sealRoot(static_cast<std::uint64_t>(at - m_bytes.begin()));
        }
    }

private:
    template <class Record> bool get(std::uint64_t offset, Record& out) const
    {
        if (offset > m_bytes.size() || sizeof out > m_bytes.size() - offset) {
            return false;
        }
        std::memcpy(&out, m_bytes.data() + offset, sizeof out);
        return true;
    }
    template <class Record> void put(std::uint64_t offset, const Record& record)
    {
        std::memcpy(m_bytes.data() + offset, &record, sizeof record);
    }
    std::uint64_t sumOf(std::uint64_t offset, std::uint64_t size) const
    {
        const bool isThere = offset <= m_bytes.size() && size <= m_bytes.size() - offset;
        return isThere ? checksumOf(m_bytes.data() + offset, size) : 0;
    }

    void sealRoot(std::uint64_t place)
    {
        ColumnRoot root;
        if (!get(place, root)) {
            return;
        }
        std::uint64_t sum = 0;
        if (root.fields.size >= sizeof sum && get(root.fields.offset, sum)) {
            put(root.fields.offset,
                sumOf(root.fields.offset + sizeof sum, root.fields.size - sizeof sum));
        }
        std::uint64_t chunk = root.catalog;
        for (std::uint64_t i = 0; i < root.fullSegments; ++i) {
            const std::uint64_t inChunk = i % kRecordsOfChunk;
            const std::uint64_t at =
                chunk + offsetof(CatalogChunk, records) + inChunk * sizeof(SegmentRecord);
            SegmentRecord record;
            if (i > 2 * kRecordsOfChunk || !get(at, record)) {
                break;
            }
            sealSegment(record);
            put(at, record);
            if (inChunk + 1 == kRecordsOfChunk && !get(chunk, chunk)) {
                break;
            }
        }
        for (std::uint32_t i = 0; i < std::min(root.shortSegments, kMostShortSegments); ++i) {
            sealSegment(root.shorts[i]);
        }
        root.checksum = checksumOf(&root, offsetof(ColumnRoot, checksum));
        put(place, root);
    }

    void sealSegment(SegmentRecord& record)
    {
        SegmentHead head;
        if (!get(record.offset, head)) {
            return;
        }
        record.firstTime = head.firstTime;
        record.lastTime = head.lastTime;
        record.newFields = head.newFields;
        std::uint64_t at = record.offset + sizeof head;
        TimeChunkRecord chunk;
        for (std::uint32_t i = 0; i < head.timeChunks && get(at, chunk); ++i) {
            chunk.checksum = sumOf(record.offset + chunk.offset, chunk.stored);
            put(at, chunk);
            at += sizeof chunk;
        }
        at += std::uint64_t{head.newRuns} * sizeof(FieldRun);
        PageRecord page;
        for (std::uint32_t i = 0; i < head.pages && get(at, page); ++i) {
            page.indexChecksum = sumOf(record.offset + page.indexOffset, page.indexStored);
            page.dataChecksum = sumOf(record.offset + page.dataOffset, page.dataStored);
            put(at, page);
            at += sizeof page;
        }
        if (head.headSize >= sizeof head + sizeof record.headChecksum) {
            const std::uint64_t size = head.headSize - sizeof record.headChecksum;
            std::uint64_t old = 0;
            if (get(record.offset + size, old)) {
                record.headChecksum = sumOf(record.offset, size);
                put(record.offset + size, record.headChecksum);
            }
        }
    }

    std::vector<std::uint8_t>& m_bytes;
};

void replay(const WdbColumnReader& reader, const std::vector<unsigned int>& fields)
{
    const auto steps = reader.getReplay(fields);
    long long last = 0;
    for (int i = 0; i < kMostAnswers && steps->next(); ++i) {
        FUZZ_REQUIRE((i == 0 || steps->getTime() > last) && !steps->getChanges().empty());
        last = steps->getTime();
        for (const WdbColumnReplay::Change& change : steps->getChanges()) {
            FUZZ_REQUIRE(reader.getField(change.field).size > 0);
            FUZZ_REQUIRE(fields.empty() ||
                         std::find(fields.begin(), fields.end(), change.field) != fields.end());
        }
    }
}

void ask(const WdbColumnReader& reader, unsigned int field)
{
    const WdbColumnField found = reader.getField(field);
    FUZZ_REQUIRE(found.size <= 8 && found.address % 8 + found.size <= 8);
    const long long latest = std::max(reader.getLatestTime(), 0LL);
    for (const long long from : {-1LL, latest / 2}) {
        for (const long long resolution : {0LL, 1 + latest / 64, kEver}) {
            const auto history = reader.getHistory(field, from, kEver, resolution);
            long long last = std::numeric_limits<long long>::min();
            for (int i = 0; i < kMostAnswers && history->next(); ++i) {
                FUZZ_REQUIRE(history->getTime() >= last);
                FUZZ_REQUIRE(!history->isDense() || resolution > 0);
                last = history->getTime();
            }
        }
        long long other = 0;
        FUZZ_REQUIRE(!reader.getNextChange(field, from, other) || other > from);
        FUZZ_REQUIRE(!reader.getPreviousChange(field, from, other) || other < from);
    }
}

void read(const std::vector<std::uint8_t>& bytes)
{
    const MemoryFile file(bytes.data(), bytes.size());
    WdbColumnReader reader;
    try {
        reader.open(file.path());
    } catch (const Qsim::Exception&) {
        return;
    }
    std::vector<unsigned int> fields = reader.findFields(0, 1 << 16);
    fields.resize(std::min(fields.size(), kMostAsked));
    replay(reader, {});
    for (const unsigned int field : fields) {
        ask(reader, field);
    }
    if (!fields.empty()) {
        replay(reader, {fields.back(), fields.front(), reader.getFieldCount()});
    }
    FUZZ_REQUIRE(!reader.refresh());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> bytes(data, data + size);
    read(bytes);
    Sealer(bytes).seal();
    read(bytes);
    return 0;
}
