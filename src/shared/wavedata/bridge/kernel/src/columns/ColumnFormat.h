// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

// The bytes of a recording in columns; docs/columns-format.md is the contract. All words are
// little-endian.

namespace Tracewell {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr const char* kColumnSectionId = "Tracewell Columns";
constexpr unsigned int kColumnSectionVersion = 1;

constexpr std::uint64_t kRootMagic = 0x31544f4f524c4f43;     // "COLROOT1"
constexpr std::uint64_t kSegmentMagic = 0x314d474553'4c4f43; // "COLSEGM1"
constexpr std::uint64_t kDigestMagic = 0x31534749444c4f43;   // "COLDIGS1"

/// A field's bytes lie within one aligned group of so many.
constexpr unsigned int kFieldBytes = 8;
constexpr long long kAddressEnd = 1LL << 32;
/// A field's id fits into 29 bits.
constexpr std::uint32_t kMostFields = 1u << 29;

/// Of a log, and so of a segment.
constexpr std::uint32_t kMostChanges = 3u << 18;
/// A log of so many is cut where time steps on, so that most times lie in one segment.
constexpr std::uint32_t kGoodChanges = kMostChanges - (1u << 16);
/// Times of a segment are numbered; a number fits into 3 bytes.
constexpr std::uint32_t kTimesOfChunk = 1u << 13;
constexpr std::uint32_t kMostTimes = 1u << 24;
/// Of one field in a page; a field with more has several parts, in pages behind each other.
constexpr std::uint32_t kMostInPart = 1u << 14;
/// A part with more changes has a summary.
constexpr std::uint32_t kSummarized = 32;
/// Of the index of a page, unpacked.
constexpr std::uint32_t kMostIndexBytes = 1u << 18;

enum class Codec : std::uint8_t { Plain = 0, Zstd = 1 };

/// Where a run of bytes lies in a file, or in a segment.
struct ColumnExtent
{
    std::uint64_t offset;
    std::uint64_t size;
};

/// One segment, as the root and the catalog list it.
struct SegmentRecord
{
    std::uint64_t offset;
    std::uint64_t size;
    std::int64_t firstTime;
    std::int64_t lastTime;
    std::uint32_t changes;
    std::uint32_t newFields;
    /// That of the segment's head: a segment that was replaced is told from the one meant.
    std::uint64_t headChecksum;
};

constexpr std::uint32_t kMostShortSegments = 40;
constexpr std::uint32_t kMostFreeExtents = 64;

/// One of two places that are written in turn; of those that are whole, the one with the higher
/// sequence counts.
struct ColumnRoot
{
    std::uint64_t magic;
    std::uint64_t sequence;
    /// Everything up to it is in the file: below 0 nothing, 2^63 - 1 when the writer has closed.
    std::int64_t wholeTime;
    std::int64_t latestTime;
    std::uint64_t changes;
    ColumnExtent fields;
    /// The first chunk of the catalog.
    std::uint64_t catalog;
    std::uint64_t fullSegments;
    std::uint32_t shortSegments;
    std::uint32_t freeExtents;
    /// Behind the full ones in time. The next log that is full takes their changes in.
    SegmentRecord shorts[kMostShortSegments];
    ColumnExtent free[kMostFreeExtents];
    /// The last one of so many; each leads to the one before it.
    std::uint64_t digest;
    std::uint64_t digests;
    std::uint64_t unused[5];
    std::uint64_t checksum;
};

/// Full segments in the order of time. The next chunk follows when one is full.
constexpr std::uint32_t kRecordsOfChunk = 63;
struct CatalogChunk
{
    std::uint64_t next;
    SegmentRecord records[kRecordsOfChunk];
};

/// What so many full segments have of each field, for who looks at long runs. The last one of a
/// writer that has closed is of fewer.
constexpr std::uint32_t kSegmentsOfDigest = 63;
/// A field with more changes for each of them has a summary there.
constexpr std::uint32_t kDigested = 16;
constexpr std::uint32_t kEntriesOfDigestPage = 256;
/// Unpacked.
constexpr std::uint32_t kMostDigestPageBytes = 1u << 15;
/// In the byte that says which of the segments is the first to have the field.
constexpr std::uint8_t kDigestSummary = 0x80;

struct DigestHead
{
    std::uint64_t magic;
    /// The digest before this one; 0 for the first.
    std::uint64_t previous;
    std::uint64_t firstSegment;
    /// Of the head with the records of its pages, up to and with the checksum behind them.
    std::uint32_t headSize;
    std::uint32_t pages;
    std::uint32_t segments;
    std::uint32_t unused;
    // Of the segments.
    std::int64_t firstTime;
    std::int64_t lastTime;
};

struct DigestPageRecord
{
    std::uint32_t firstField;
    std::uint32_t lastField;
    /// From the digest's start.
    std::uint32_t offset;
    std::uint32_t stored;
    std::uint32_t raw;
    std::uint8_t codec;
    std::uint8_t unused[3];
    std::uint64_t checksum;
};

/// What a segment begins with.
struct SegmentHead
{
    std::uint64_t magic;
    /// How many bytes the head has with its lists, up to and with the checksum behind them.
    std::uint32_t headSize;
    std::uint32_t changes;
    std::uint32_t times;
    std::uint32_t timeChunks;
    std::uint32_t pages;
    /// Fields that the segment is the first to have, in so many runs.
    std::uint32_t firstNewField;
    std::uint32_t newFields;
    std::uint32_t newRuns;
    std::int64_t firstTime;
    std::int64_t lastTime;
};

/// The times of a chunk as they lie: the first, then kinds of steps.
struct TimeChunkRecord
{
    std::int64_t firstTime;
    /// Each time is so far behind the one before, if `width` is 0.
    std::uint64_t step;
    /// Where the steps lie, counted from the segment's start.
    std::uint32_t offset;
    std::uint32_t stored;
    /// How many bytes a step takes.
    std::uint8_t width;
    std::uint8_t codec;
    std::uint16_t unused;
    std::uint32_t unused2;
    std::uint64_t checksum;
};

/// Fields behind each other, by their ids and in the memory.
struct FieldRun
{
    std::uint64_t address;
    std::uint32_t count;
    /// How many bytes each of the fields has.
    std::uint8_t size;
    /// Bit 0 says that the fields are counters.
    std::uint8_t flags;
    std::uint16_t unused;

    std::uint64_t end() const { return address + std::uint64_t{count} * size; }
};

struct PageRecord
{
    /// Parts of these fields alone lie in the page.
    std::uint32_t firstField;
    std::uint32_t lastField;
    /// Of the index of the page, from the segment's start.
    std::uint32_t indexOffset;
    std::uint32_t indexStored;
    std::uint32_t indexRaw;
    std::uint32_t dataOffset;
    std::uint32_t dataStored;
    std::uint8_t indexCodec;
    std::uint8_t unused[3];
    std::uint64_t indexChecksum;
    std::uint64_t dataChecksum;
};

/// The streams of a page: what its parts have of one kind, behind each other.
enum ColumnStream : unsigned int {
    kSteps0 = 0, ///< the low bytes of steps between time numbers
    kSteps1 = 1,
    kSteps2 = 2,
    kSmall = 3,  ///< values of a byte that are below 16
    kPlanes = 4, ///< and 7 more: bytes of values, by their place in them
    kStreams = 12
};

/// In front of the streams of a page.
struct StreamRecord
{
    std::uint32_t raw;
    std::uint32_t stored;
    std::uint8_t codec;
    std::uint8_t unused[3];
};

/// How the time numbers of a part lie. Its first one stands in the index.
enum class StepForm : unsigned int {
    OneByte = 0,
    TwoBytes = 1,
    ThreeBytes = 2,
    Even = 3, ///< all alike: the step stands in the index
    Same = 4  ///< those of a part before it in the page, which has as many
};

/// How the values of a part lie. The first one stands in the index.
enum class ValueForm : unsigned int {
    Alternating = 0, ///< with the second one, which stands in the index too
    Small = 1,       ///< the others as they are, all below 16
    Plain = 2,       ///< the others as they are, by planes
    Xor = 3,         ///< what differs from the one before, by planes
    Difference = 4   ///< to the one before, sign in bit 0, by planes
};

static_assert(sizeof(SegmentRecord) == 48 && sizeof(ColumnExtent) == 16);
static_assert(sizeof(ColumnRoot) == 3088 && offsetof(ColumnRoot, shorts) == 80);
static_assert(offsetof(ColumnRoot, free) == 2000 && offsetof(ColumnRoot, checksum) == 3080);
static_assert(sizeof(CatalogChunk) == 3032);
static_assert(sizeof(DigestHead) == 56 && sizeof(DigestPageRecord) == 32);
static_assert(sizeof(SegmentHead) == 56 && sizeof(TimeChunkRecord) == 40);
static_assert(sizeof(FieldRun) == 16 && sizeof(PageRecord) == 48 && sizeof(StreamRecord) == 12);
static_assert(std::is_trivially_copyable_v<ColumnRoot>);

} // namespace Tracewell
