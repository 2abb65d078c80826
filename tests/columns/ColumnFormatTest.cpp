// SPDX-License-Identifier: BSD-3-Clause

// Recordings in columns held against docs/columns-format.md by a decoder that was written from that
// page, and one that was written once and that every version reads.

#include "testing/TestFiles.h"

#include "WdbColumnReader.h"
#include "WdbColumnWriter.h"
#include "WdbFileManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#define XXH_INLINE_ALL
#include <xxhash.h>
#include <zstd.h>

#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <vector>

namespace Tracewell {
namespace {

using Change = std::pair<long long, std::uint64_t>;
/// By the addresses of fields.
using Histories = std::map<std::uint64_t, std::vector<Change>>;

constexpr long long kEver = std::numeric_limits<long long>::max();

/// Bytes of a recording; a step out of them throws.
class Piece
{
public:
    explicit Piece(std::string bytes) : m_bytes(std::move(bytes)) {}

    std::uint64_t u(std::size_t offset, std::size_t size) const
    {
        std::uint64_t value = 0;
        std::memcpy(&value, cut(offset, size).data(), size);
        return value;
    }
    std::uint32_t u32(std::size_t offset) const { return static_cast<std::uint32_t>(u(offset, 4)); }
    std::uint64_t u64(std::size_t offset) const { return u(offset, 8); }
    long long i64(std::size_t offset) const { return static_cast<long long>(u(offset, 8)); }
    std::string cut(std::size_t offset, std::size_t size) const
    {
        if (offset + size > m_bytes.size()) {
            throw std::runtime_error("out of the bytes");
        }
        return m_bytes.substr(offset, size);
    }
    /// The next one from `at` on.
    std::uint64_t number(std::size_t& at) const
    {
        std::uint64_t number = 0;
        for (int shift = 0;; shift += 7) {
            const std::uint64_t byte = u(at++, 1);
            number |= (byte & 127) << shift;
            if (byte < 128) {
                return number;
            }
        }
    }
    std::size_t size() const { return m_bytes.size(); }

private:
    std::string m_bytes;
};

void require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::uint64_t checksum(const std::string& bytes)
{
    return XXH3_64bits(bytes.data(), bytes.size());
}

Piece unpacked(std::uint64_t codec, const std::string& packed, std::size_t size)
{
    std::string raw = packed;
    if (codec == 1) {
        raw.resize(size);
        require(ZSTD_decompress(raw.data(), size, packed.data(), packed.size()) == size, "packed");
    }
    require(codec <= 1 && raw.size() == size, "codec or size");
    return Piece(raw);
}

class Decoder
{
public:
    explicit Decoder(const std::string& path) : m_file(readFile(path))
    {
        const std::size_t section = findSection();
        std::size_t root = 0;
        for (const std::size_t place : {section, section + 3088}) {
            if (m_file.cut(place, 8) == "COLROOT1" &&
                m_file.u64(place + 3080) == checksum(m_file.cut(place, 3080)) &&
                (root == 0 || m_file.u64(place + 8) > m_file.u64(root + 8))) {
                root = place;
            }
        }
        m_wholeTime = m_file.i64(root + 16);
        m_latestTime = m_file.i64(root + 24);
        if (const std::size_t size = m_file.u64(root + 48); size > 0) {
            const std::size_t fields = m_file.u64(root + 40);
            require(m_file.u64(fields) == checksum(m_file.cut(fields + 8, size - 8)), "fields");
            readRuns(m_file, fields + 8, (size - 8) / 16);
        }
        std::size_t chunk = m_file.u64(root + 56);
        for (std::uint64_t i = 0; i < m_file.u64(root + 64); ++i) {
            readSegment(chunk + 8 + i % 63 * 48);
            chunk = i % 63 == 62 ? m_file.u64(chunk) : chunk;
        }
        for (std::size_t i = 0; i < m_file.u32(root + 72); ++i) {
            readSegment(root + 80 + i * 48);
        }
        require(m_changes == m_file.u64(root + 32), "number of changes");
        m_digests = m_file.u64(root + 3032);
        std::size_t digest = m_file.u64(root + 3024);
        for (std::size_t i = m_digests; i-- > 0; digest = m_file.u64(digest + 8)) {
            readDigest(digest, 63 * i);
        }
        require(digest == 0, "another digest");
        for (std::size_t i = 0; i < m_file.u32(root + 76); ++i) {
            m_extents[m_file.u64(root + 2000 + i * 16)] = m_file.u64(root + 2008 + i * 16);
        }
        std::size_t end = 0;
        for (const auto& [offset, size] : m_extents) {
            require(offset >= end && offset + size <= m_file.size(), "extents overlap");
            end = offset + size;
        }
    }

    Histories histories() const
    {
        Histories found;
        for (std::size_t i = 0; i < m_addresses.size(); ++i) {
            found[m_addresses[i]] = m_fields[i];
        }
        return found;
    }

    long long m_wholeTime = 0;
    long long m_latestTime = 0;
    std::size_t m_segments = 0;
    std::size_t m_digests = 0;
    /// Forms and codecs, and the most parts of a field in a segment.
    std::set<std::string> m_seen;
    std::size_t m_mostParts = 0;

private:
    std::size_t findSection() const
    {
        const std::size_t node = m_file.u64(48);
        for (std::size_t i = 0; i < m_file.u32(node + 128); ++i) {
            const std::size_t item = m_file.u64(node + 8 + 8 * i);
            if (m_file.cut(item, 18) == std::string("Tracewell Columns", 18) &&
                m_file.u64(item + 24) == 1) {
                return m_file.u64(item + 32);
            }
        }
        throw std::runtime_error("no section");
    }

    void readRuns(const Piece& piece, std::size_t at, std::size_t runs)
    {
        for (; runs > 0; --runs, at += 16) {
            for (std::uint32_t i = 0; i < piece.u32(at + 8); ++i) {
                m_addresses.push_back(piece.u64(at) + i * piece.u(at + 12, 1));
                m_isCounter.push_back(piece.u(at + 13, 1) % 2 == 1);
            }
        }
        m_fields.resize(m_addresses.size());
    }

    /// What a digest says of a field: the segments that have it first and last, and the summary.
    using Digested = std::vector<std::uint64_t>;

    void readDigest(std::size_t at, std::size_t firstSegment)
    {
        const std::size_t end = at + m_file.u32(at + 24) - 8;
        const std::size_t segments = m_file.u32(at + 32);
        require(m_file.cut(at, 8) == "COLDIGS1" && m_file.u64(at + 16) == firstSegment, "digest");
        require(m_file.u64(end) == checksum(m_file.cut(at, end - at)), "head of a digest");
        require(end == at + 56 + 32 * m_file.u32(at + 28), "size of a digest");
        require(m_file.i64(at + 40) == m_spans.at(firstSegment).first &&
                    m_file.i64(at + 48) == m_spans.at(firstSegment + segments - 1).second,
                "times of a digest");
        std::map<std::uint64_t, Digested> found;
        std::size_t size = end + 8 - at;
        for (std::size_t record = at + 56; record < end; record += 32) {
            const std::string stored =
                m_file.cut(at + m_file.u32(record + 8), m_file.u32(record + 12));
            size += stored.size();
            require(checksum(stored) == m_file.u64(record + 24), "page of a digest");
            const Piece page = unpacked(m_file.u(record + 20, 1), stored, m_file.u32(record + 16));
            std::uint64_t field = m_file.u32(record);
            for (std::size_t i = 0; i < page.size();) {
                field += page.number(i);
                Digested& entry = found[field];
                entry = {page.u(i, 1) % 128, page.u(i + 1, 1)};
                const bool hasSummary = page.u(i, 1) >= 128;
                i += 2;
                for (int k = 0; hasSummary && k < 5; ++k) {
                    entry.push_back(page.number(i));
                }
            }
            require(field == m_file.u32(record + 4), "last field of a digest");
        }
        m_extents[at] = size;
        require(found == digestOf(firstSegment, segments), "what a digest says");
    }

    std::map<std::uint64_t, Digested> digestOf(std::size_t firstSegment, std::size_t segments) const
    {
        std::map<std::uint64_t, Digested> digest;
        for (std::size_t field = 0; field < m_fields.size(); ++field) {
            Digested entry;
            std::vector<Change> changes;
            bool isClear = true;
            for (std::size_t i = 0; i < segments; ++i) {
                const auto range = m_ranges.at(firstSegment + i).find(field);
                if (range == m_ranges[firstSegment + i].end()) {
                    continue;
                }
                entry = {entry.empty() ? i : entry[0], i};
                for (std::size_t k = range->second.first; k < range->second.second; ++k) {
                    const bool isFirst = k == range->second.first && !changes.empty();
                    if (isFirst && !m_isCounter[field]) {
                        isClear = isClear && m_fields[field][k].first != changes.back().first;
                        if (m_fields[field][k].second == changes.back().second) {
                            continue;
                        }
                    }
                    changes.push_back(m_fields[field][k]);
                }
            }
            if (changes.size() > 16 * segments && isClear) {
                long long widest = 0;
                for (std::size_t i = 1; i < changes.size(); ++i) {
                    widest = std::max(widest, changes[i].first - changes[i - 1].first);
                }
                const long long begin = changes.front().first;
                for (const long long time :
                     {begin - m_spans[firstSegment].first, changes.back().first - begin, widest}) {
                    entry.push_back(static_cast<std::uint64_t>(time));
                }
                entry.push_back(changes.front().second);
                entry.push_back(changes.back().second);
            }
            if (!entry.empty()) {
                digest[field] = entry;
            }
        }
        return digest;
    }

    void readSegment(std::size_t record)
    {
        ++m_segments;
        m_extents[m_file.u64(record)] = m_file.u64(record + 8);
        const Piece segment(m_file.cut(m_file.u64(record), m_file.u64(record + 8)));
        const std::size_t end = segment.u32(8) - 8;
        require(segment.cut(0, 8) == "COLSEGM1", "segment");
        require(segment.u64(end) == m_file.u64(record + 40), "another head");
        require(segment.u64(end) == checksum(segment.cut(0, end)), "head");
        const std::size_t times = segment.u32(16);
        m_changes += segment.u32(12);
        m_times.clear();
        std::size_t at = 56;
        for (std::uint32_t i = 0; i < segment.u32(20); ++i, at += 40) {
            readTimes(segment, at, std::min<std::size_t>(times - m_times.size(), 8192));
        }
        require(m_times.front() == m_file.i64(record + 16) && m_times.back() == segment.i64(48) &&
                    m_times.size() == times,
                "times");
        require(segment.u32(28) == m_fields.size() || segment.u32(32) == 0, "new fields");
        readRuns(segment, at, segment.u32(36));
        at += 16 * segment.u32(36);
        m_partsOf.clear();
        m_spans.emplace_back(m_times.front(), m_times.back());
        m_ranges.emplace_back();
        for (std::uint32_t i = 0; i < segment.u32(24); ++i, at += 48) {
            readPage(segment, at);
        }
        require(at == end, "size of the head");
    }

    void readTimes(const Piece& segment, std::size_t record, std::size_t count)
    {
        const std::size_t width = segment.u(record + 24, 1);
        m_seen.insert(width == 0 ? "even times" : "times");
        std::uint64_t time = segment.u64(record);
        m_times.push_back(static_cast<long long>(time));
        const std::string stored = segment.cut(segment.u32(record + 16), segment.u32(record + 20));
        require(width == 0 || checksum(stored) == segment.u64(record + 32), "stored times");
        const Piece steps = width == 0
                                ? Piece("")
                                : unpacked(segment.u(record + 25, 1), stored, width * (count - 1));
        for (std::size_t i = 1; i < count; ++i) {
            time += width == 0 ? segment.u64(record + 8) : 0;
            for (std::size_t k = 0; k < width; ++k) {
                time += steps.u(k * (count - 1) + i - 1, 1) << (8 * k);
            }
            m_times.push_back(static_cast<long long>(time));
        }
    }

    void readPage(const Piece& segment, std::size_t record)
    {
        const std::string stored = segment.cut(segment.u32(record + 8), segment.u32(record + 12));
        require(checksum(stored) == segment.u64(record + 32), "index");
        const Piece index = unpacked(segment.u(record + 28, 1), stored, segment.u32(record + 16));
        const Piece data(segment.cut(segment.u32(record + 20), segment.u32(record + 24)));
        require(checksum(data.cut(0, data.size())) == segment.u64(record + 40), "data");
        std::vector<Piece> streams;
        for (std::size_t i = 0, at = 144; i < 12; ++i) {
            const std::size_t size = data.u32(12 * i + 4);
            const std::uint64_t codec = data.u(12 * i + 8, 1);
            streams.push_back(unpacked(codec, data.cut(at, size), data.u32(12 * i)));
            m_seen.insert("codec " + std::to_string(codec));
            at += size;
        }
        std::vector<std::size_t> taken(12);
        std::vector<std::vector<std::uint64_t>> numbers;
        std::uint64_t field = segment.u32(record);
        for (std::size_t at = 0; at < index.size();) {
            field += index.number(at);
            const std::size_t count = index.number(at);
            const std::uint64_t forms = index.u(at++, 1);
            const std::uint64_t steps = forms % 16;
            const std::uint64_t form = forms / 16;
            m_seen.insert("steps " + std::to_string(steps));
            m_seen.insert("values " + std::to_string(form));
            m_mostParts = std::max(m_mostParts, ++m_partsOf[field]);
            // The next word of a value or a step, from the streams that the mask names.
            const auto take = [&](std::size_t first, std::uint64_t mask) {
                std::uint64_t word = 0;
                for (std::size_t k = 0; mask >> k != 0; ++k) {
                    if ((mask >> k & 1) != 0) {
                        word |= streams[first + k].u(taken[first + k]++, 1) << (8 * k);
                    }
                }
                return word;
            };
            const std::uint64_t first = index.number(at);
            const std::uint64_t step = steps == 3 ? index.number(at) : 0;
            std::vector<std::uint64_t> mine =
                steps == 4 ? numbers.at(numbers.size() - first) : std::vector<std::uint64_t>{first};
            while (mine.size() < count) {
                mine.push_back(mine.back() + (steps == 3 ? step : take(0, (2u << steps) - 1)));
            }
            require(mine.size() == count, "the same times");
            numbers.push_back(mine);

            std::vector<std::uint64_t> values{index.number(at)};
            const std::uint64_t second = form == 0 ? index.number(at) : 0;
            const std::uint64_t mask = form >= 2 ? index.u(at++, 1) : 0;
            for (std::size_t i = 1; i < count; ++i) {
                const std::uint64_t before = values.back();
                const std::uint64_t word = form == 0 ? 0 : form == 1 ? take(3, 1) : take(4, mask);
                const std::uint64_t difference = word % 2 == 0 ? word / 2 : ~(word / 2);
                values.push_back(form == 0   ? (i % 2 == 0 ? values[0] : second)
                                 : form == 3 ? before ^ word
                                 : form == 4 ? before + difference
                                             : word);
            }
            long long widest = 0;
            auto& range = m_ranges.back()[field];
            range = {m_partsOf[field] == 1 ? m_fields.at(field).size() : range.first,
                     m_fields.at(field).size() + count};
            for (std::size_t i = 0; i < count; ++i) {
                const long long time = m_times.at(mine[i]);
                m_fields.at(field).emplace_back(time, values[i]);
                widest = i == 0 ? 0 : std::max(widest, time - m_times[mine[i - 1]]);
            }
            if (count > 32) {
                const long long begin = m_times[mine[0]];
                require(begin - m_times[0] == static_cast<long long>(index.number(at)) &&
                            m_times[mine.back()] - begin ==
                                static_cast<long long>(index.number(at)) &&
                            widest == static_cast<long long>(index.number(at)) &&
                            values.back() == index.number(at),
                        "summary");
            }
        }
        require(field == segment.u32(record + 4), "last field");
        for (std::size_t i = 0; i < 12; ++i) {
            require(taken[i] == streams[i].size(), "more in a stream");
        }
    }

    Piece m_file;
    std::vector<std::uint64_t> m_addresses;
    std::vector<bool> m_isCounter;
    std::vector<std::vector<Change>> m_fields;
    /// Of each segment: its times, and which of their changes fields have there.
    std::vector<std::pair<long long, long long>> m_spans;
    std::vector<std::map<std::uint64_t, std::pair<std::size_t, std::size_t>>> m_ranges;
    std::uint64_t m_changes = 0;
    std::map<std::uint64_t, std::uint64_t> m_extents;
    // Of a segment.
    std::vector<long long> m_times;
    std::map<std::uint64_t, std::size_t> m_partsOf;
};

/// A run whose changes take every form, and which comes out the same every time.
class Sample
{
public:
    static std::vector<WdbColumnField> fields()
    {
        return {{0, 1, false},  {1, 1, false},  {2, 1, false},  {16, 2, true}, {24, 8, false},
                {32, 8, false}, {40, 8, false}, {48, 4, false}, {80, 4, false}};
    }
    Sample()
    {
        for (const unsigned int address : {0u, 1u, 2u, 16u, 24u, 32u, 40u, 48u, 80u}) {
            m_histories[address];
        }
    }

    void play(WdbColumnWriter& writer, long long end)
    {
        const auto trace = writer.getTraceScVirtualObjectFunc();
        play(end, [&](long long time, std::uint64_t address, std::uint64_t value, unsigned size) {
            trace(time, address, reinterpret_cast<unsigned char*>(&value), 0, size);
        });
    }
    template <class Trace> void play(long long end, const Trace& trace)
    {
        for (; m_at < end; ++m_at) {
            const auto i = static_cast<std::uint64_t>(m_at);
            const auto put = [&](std::uint64_t address, std::uint64_t value, unsigned size) {
                m_histories[address].emplace_back(time(), value);
                trace(time(), address, value, size);
            };
            put(0, i % 2, 1);
            if (i % 1000 == 0) {
                put(16, i / 500, 2);
                put(16, i / 500 + 1, 2);
            }
            if (i == 0 || i == 70000 || i == 149999) {
                put(48, i / 65536 + 1, 4);
            }
            if (i >= 3000) {
                continue;
            }
            if (i % 7 == 0 || i % 11 == 0) {
                put(1, i % 13, 1);
                put(2, i % 251, 1);
            }
            if (i % 71 == 0 || i % 97 == 0) {
                put(24, i * 0x9E3779B97F4A7C15, 8);
            }
            if (i % 13 == 0) {
                put(32, 0xA5A5A5A5A5A5A5A5 ^ std::uint64_t{0xFF} << i / 13 % 8 * 8, 8);
            }
            if (i % 17 == 0) {
                put(40, 0x7FFFFFFE00 + i * 37 % 1024, 8);
            }
            if (i >= 2000 && i % 3 == 0) {
                put(64, i * i, 4);
            }
        }
    }
    /// When the last change took place.
    long long time() const { return m_at * 10 + (m_at < 145000 ? 0 : m_at * m_at % 7); }
    const Histories& histories() const { return m_histories; }

private:
    long long m_at = 0;
    Histories m_histories;
};

} // namespace

TEST(ColumnFormat, isWhatItsPageSays)
{
    const TestDirectory directory;
    const std::string path = directory.path("run.wdb");
    WdbColumnWriter writer;
    writer.setFields(Sample::fields());
    writer.setBaseDPOffset(0);
    writer.open(IWdbWriter::kDefaultMode, "", path, 0);
    Sample run;
    std::size_t mostSegments = 0;
    for (const long long end : {1000, 100000, 140000, 150000, 154000, 156000}) {
        run.play(writer, end);
        writer.sync();
        const Decoder decoder(path);
        mostSegments = std::max(mostSegments, decoder.m_segments);
        ASSERT_EQ(decoder.histories(), run.histories()) << end;
        ASSERT_EQ(decoder.m_wholeTime, decoder.m_latestTime - 1);
    }
    EXPECT_EQ(mostSegments, 4u);
    run.play(writer, 800000);
    writer.close();

    const Decoder decoder(path);
    EXPECT_EQ(decoder.histories(), run.histories());
    EXPECT_EQ(decoder.m_wholeTime, kEver);
    EXPECT_EQ(decoder.m_segments, 2u);
    EXPECT_EQ(decoder.m_digests, 1u);
    EXPECT_GT(decoder.m_mostParts, 40u);
    EXPECT_THAT(decoder.m_seen,
                ::testing::ElementsAre("codec 0", "codec 1", "even times", "steps 0", "steps 1",
                                       "steps 2", "steps 3", "steps 4", "times", "values 0",
                                       "values 1", "values 2", "values 3", "values 4"));
}

/// A run of 150,000 times, written with a text and after a sync.
TEST(ColumnFormat, aFileOfTheFirstVersionIsReadByEveryOne)
{
    const std::string path = COLUMNS_DATA "/small.wdb";
    Sample run;
    run.play(150000, [](auto...) {});
    EXPECT_EQ(Decoder(path).histories(), run.histories());

    WdbColumnReader reader;
    reader.open(path);
    EXPECT_TRUE(reader.isClosed());
    EXPECT_EQ(reader.getLatestTime(), 1499992);
    Histories found;
    for (unsigned int field = 0; field < reader.getFieldCount(); ++field) {
        auto& changes = found[static_cast<std::uint64_t>(reader.getField(field).address)];
        for (const auto history = reader.getHistory(field, -1, kEver, 0); history->next();) {
            changes.emplace_back(history->getTime(), history->getValue());
        }
    }
    EXPECT_EQ(found, run.histories());
    const auto drawn = reader.getHistory(reader.findFields(0, 1).at(0), 1000, 2000, 10);
    ASSERT_TRUE(drawn->next());
    EXPECT_TRUE(drawn->isDense() && drawn->getTime() == 1000);
    ASSERT_TRUE(drawn->next());
    EXPECT_TRUE(!drawn->isDense() && drawn->getTime() == 2000 && drawn->getValue() == 0);
    EXPECT_FALSE(drawn->next());
    EXPECT_EQ(reader.getFileManager().getDamageLog().getCount(), 0u);
}

} // namespace Tracewell
