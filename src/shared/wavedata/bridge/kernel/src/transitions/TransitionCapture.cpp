// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionCapture.h"

#include <boost/thread/thread_only.hpp>

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Tracewell {

namespace {

constexpr long long kMaxNarrowDelta = std::numeric_limits<std::uint32_t>::max();
/// Shorter buffers are not searched for a pattern when they are evicted.
constexpr int kMinSearchedEviction = 100;

std::size_t slotBytes(bool isWide)
{
    return isWide ? 8 : 4;
}

std::size_t packedValueBytes(ValueType kind, int capacity, bool isWide)
{
    const auto slots = static_cast<std::size_t>(capacity);
    return (slots * packedBits(kind) / (slotBytes(isWide) * 8) + 1) * slotBytes(isWide);
}

std::size_t packedBufferBytes(ValueType kind, int capacity, bool isWide)
{
    return static_cast<std::size_t>(capacity) * slotBytes(isWide) +
           packedValueBytes(kind, capacity, isWide);
}

unsigned char* packedValues(std::uint32_t* data, int capacity, bool isWide)
{
    return reinterpret_cast<unsigned char*>(data) +
           static_cast<std::size_t>(capacity) * slotBytes(isWide);
}

void clearPackedValues(VlogTransVecInfo& info)
{
    const bool isWide = (info.flags & kWideFlag) != 0;
    std::memset(packedValues(info.data, info.capacity, isWide), 0,
                packedValueBytes(blockType(info.flags), info.capacity, isWide));
}

void readLastByte(VlogTransVecInfo& info)
{
    const unsigned int place =
        static_cast<unsigned int>(info.count - 1) * packedBits(blockType(info.flags));
    info.lastByte =
        packedValues(info.data, info.capacity, (info.flags & kWideFlag) != 0)[place / 8];
}

std::size_t recordBytes(int capacity)
{
    return static_cast<std::size_t>(capacity) * sizeof(DataBaseTransiton);
}

DataBaseTransiton makeRecord(long long time, const Value& value)
{
    return {time, value.getAux(), value.getType(), storedPayload(value)};
}

/// Whether `time` is later, by no more than a narrow slot holds.
inline bool isNarrowStep(long long before, long long time)
{
    return static_cast<unsigned long long>(time) - static_cast<unsigned long long>(before) - 1 <
           static_cast<unsigned long long>(kMaxNarrowDelta);
}

/// Whether a buffer has a transition before the next one, and room for it.
inline bool hasPlaceBehind(const BufferHeader& header)
{
    return static_cast<unsigned int>(header.count) - 1 <
           static_cast<unsigned int>(header.capacity) - 1;
}

/// Asks for a cache line that the next transition of the object will write, which can be a long
/// time from now. It may lie outside the buffer.
inline void fetchAhead(const void* base, std::size_t offset)
{
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(base) + offset), 1);
}

/// Puts a value behind the last one of a packed buffer with room. `Word` is that of its slots.
template <ValueType kKind, typename Word>
inline void append(VlogTransVecInfo& info, long long time, unsigned int code)
{
    const auto count = static_cast<unsigned int>(info.count);
    const auto slots = reinterpret_cast<Word*>(info.data);
    auto* const values = reinterpret_cast<unsigned char*>(slots + info.capacity);
    const long long delta = time - info.lastTime;
    fetchAhead(slots, count * sizeof(Word));
    info.count = static_cast<std::int32_t>(count + 1);
    info.lastTime = time;
    if (delta > info.largestDiff) {
        info.largestDiff = delta;
    }
    if (count > 0) {
        slots[count - 1] = static_cast<Word>(delta);
    }
    const unsigned int place = count * packedBits(kKind);
    // Written whole from the header's copy: reading it here would wait for its cache line.
    info.lastByte =
        static_cast<std::uint8_t>((place % 8 == 0 ? 0U : info.lastByte) | code << place % 8);
    values[place / 8] = info.lastByte;
}

/// Puts a record behind the last one of a generic buffer with room.
inline void append(TransVecInfo& info, long long time, const Value& value)
{
    DataBaseTransiton* const record = info.records() + info.count++;
    fetchAhead(record, 2 * sizeof *record);
    *record = makeRecord(time, value);
    info.lastTime = time;
}

} // namespace

TransitionCapture::TransitionCapture(TransitionStore& store, const DataBaseLimits& limits)
    : m_store(store), m_bufferPool(limits.bufferBytes, limits.minBlocksPerSize),
      m_compressor(store.blocks)
{}

const char* TransitionCapture::findFault(std::uint32_t id, long long time, ValueType kind) const
{
    const BufferHeader* const header = m_store.pages.findBuffer(id);
    const bool hasBuffer = header && header->count > 0;
    const BTreeElem* const root = hasBuffer ? nullptr : m_store.tree.findRoot(id);
    if (!hasBuffer && !root) {
        return nullptr;
    }
    const std::uint32_t flags = root ? root->flags
                                : header->isPacked
                                    ? header->flags
                                    : static_cast<const TransVecInfo*>(header)->records()->type;
    if (time < (root ? root->lastTime : header->lastTime)) {
        return "a time before that of the transition before it";
    }
    return blockType(flags) == kind ? nullptr : "a value of another kind than those before it";
}

void TransitionCapture::saveVhdlStdLogicTransInDB(std::uint32_t id, long long time, char code)
{
    savePacked<ValueStdLogic>(id, time, static_cast<unsigned char>(code));
}

void TransitionCapture::saveVlogTransInDB(std::uint32_t id, long long time, char code)
{
    savePacked<ValueVlog>(id, time, static_cast<unsigned char>(code));
}

inline bool TransitionCapture::admit(std::uint32_t id, long long time, bool noteNegative)
{
    if (m_store.tracingStopped.load(std::memory_order_relaxed)) {
        return false;
    }
    if (time < 0) {
        if (noteNegative) {
            m_store.lastNegativeTimeId.store(id, std::memory_order_relaxed);
        }
        return false;
    }
    if (time > m_store.latestTime.load(std::memory_order_relaxed)) {
        m_store.latestTime.store(time, std::memory_order_relaxed);
    }
    return true;
}

template <ValueType kKind>
inline void TransitionCapture::savePacked(std::uint32_t id, long long time, unsigned int code)
{
    code &= (1U << packedBits(kKind)) - 1;
    // What nearly every transition is: one that follows in a narrow buffer with room. It costs
    // little more than the cache lines that it touches.
    BufferHeader* const header = m_store.pages.findBuffer(id);
    if (header && header->flags == kKind && hasPlaceBehind(*header) &&
        isNarrowStep(header->lastTime, time) && admit(id, time, true)) {
        append<kKind, std::uint32_t>(*static_cast<VlogTransVecInfo*>(header), time, code);
    } else {
        savePackedSlowly<kKind>(id, time, code);
    }
}

template <ValueType kKind>
void TransitionCapture::savePackedSlowly(std::uint32_t id, long long time, unsigned int code)
{
    if (!admit(id, time, true)) {
        return;
    }
    if (time == 0) {
        m_store.initialValues->put(id, kKind, static_cast<unsigned char>(code));
        return;
    }
    BufferHeader* const header = m_store.pages.findBuffer(id);
    VlogTransVecInfo& info =
        header && header->isPacked && blockType(header->flags) == kKind
            ? *static_cast<VlogTransVecInfo*>(header)
            : *open(m_packedHeaders, id, kKind,
                    packedBufferBytes(kKind, VlogTransVecInfo::kFirstCapacity, false));
    if (info.count == 0 && !info.initialValueChecked) {
        takeFirstValue(info, time);
    }
    if (info.count > 0 && info.lastTime == time) {
        constexpr unsigned int kMask = (1U << packedBits(kKind)) - 1;
        const unsigned int place = static_cast<unsigned int>(info.count - 1) * packedBits(kKind);
        unsigned char& byte =
            packedValues(info.data, info.capacity, (info.flags & kWideFlag) != 0)[place / 8];
        byte = static_cast<unsigned char>((byte & ~(kMask << place % 8)) | code << place % 8);
        info.lastByte = byte;
        return;
    }
    if (info.count >= kMaxBlockCount) {
        flush(info, false);
        if (info.count == 0) {
            info.firstTime = info.lastTime = time;
            info.largestDiff = 0;
            clearPackedValues(info);
        } else {
            readLastByte(info);
        }
    }
    if (time - info.lastTime > kMaxNarrowDelta && (info.flags & kWideFlag) == 0) {
        widen(info);
    }
    if (info.count >= info.capacity) {
        grow(info);
    }
    if ((info.flags & kWideFlag) != 0) {
        append<kKind, std::uint64_t>(info, time, code);
    } else {
        append<kKind, std::uint32_t>(info, time, code);
    }
}

void TransitionCapture::saveTransInDB(std::uint32_t id, long long time, const Value& value)
{
    BufferHeader* const header = m_store.pages.findBuffer(id);
    if (header && !header->isPacked && hasPlaceBehind(*header) && time > header->lastTime &&
        admit(id, time, false)) {
        append(*static_cast<TransVecInfo*>(header), time, value);
    } else {
        saveSlowly(id, time, value);
    }
}

void TransitionCapture::saveSlowly(std::uint32_t id, long long time, const Value& value)
{
    if (!admit(id, time, false)) {
        return;
    }
    const ValueType kind = value.getType();
    if (time == 0 && packedBits(kind) > 0) {
        m_store.initialValues->put(id, kind, value.getByte());
        return;
    }
    BufferHeader* const header = m_store.pages.findBuffer(id);
    TransVecInfo& info =
        header && !header->isPacked
            ? *static_cast<TransVecInfo*>(header)
            : *open(m_genericHeaders, id, kind, recordBytes(TransVecInfo::kFirstCapacity));
    if (info.count == 0 && !info.initialValueChecked) {
        takeFirstValue(info, kind);
    }
    if (info.count > 0 && info.records()[info.count - 1].time == time) {
        info.records()[info.count - 1] = makeRecord(time, value);
        return;
    }
    if (info.count >= kMaxBlockCount) {
        flush(info, false);
    }
    if (info.count >= info.capacity) {
        grow(info);
    }
    append(info, time, value);
}

// Makes an empty buffer for an object that has none, or one of another kind.
template <typename Info>
Info* TransitionCapture::open(HeaderArena<Info>& arena, std::uint32_t id, ValueType kind,
                              std::size_t bytes)
{
    ObjectPage& page = m_store.pages.findOrCreate(id);
    if (BufferHeader* const former = PageTable::bufferOf(page, id)) {
        discard(*former);
    }
    ListNode* const node = takeBlock(id, bytes);
    Info* const info = arena.allocate();
    static_cast<DataBlockInfo&>(*info) = DataBlockInfo();
    // The flags of a generic buffer are no packed kind's.
    info->flags = std::is_same_v<Info, VlogTransVecInfo> ? std::uint32_t{kind} : 0U;
    info->data = node->data;
    info->node = node;
    info->isPacked = std::is_same_v<Info, VlogTransVecInfo>;
    info->capacity = Info::kFirstCapacity;
    info->patternHint = BufferHeader::kFreshHint;
    info->initialValueChecked = false;
    info->id.store(id, std::memory_order_relaxed);
    node->owner = static_cast<BufferHeader*>(info);
    if constexpr (std::is_same_v<Info, VlogTransVecInfo>) {
        clearPackedValues(*info);
    }
    page.buffers[id & 0xFFFF] = info;
    page.types[id & 0xFFFF] = static_cast<std::uint8_t>(kind);
    return info;
}

void TransitionCapture::takeFirstValue(VlogTransVecInfo& info, long long time)
{
    info.initialValueChecked = true;
    Value value;
    if (!m_store.initialValues->get(info.id, value)) {
        info.firstTime = info.lastTime = time;
        return;
    }
    info.firstTime = info.lastTime = 0;
    const unsigned int mask = (1U << packedBits(blockType(info.flags))) - 1;
    *packedValues(info.data, info.capacity, false) =
        static_cast<unsigned char>(value.getByte() & mask);
    info.count = 1;
    readLastByte(info);
}

void TransitionCapture::takeFirstValue(TransVecInfo& info, ValueType kind)
{
    info.initialValueChecked = true;
    Value value;
    if (packedBits(kind) == 0 || !m_store.initialValues->get(info.id, value)) {
        return;
    }
    info.records()[0] = {0, Value::kTypedAux, kind, value.getByte()};
    info.count = 1;
}

void TransitionCapture::flush(VlogTransVecInfo& info, bool noPattern)
{
    BTreeElem* const leaf = m_store.tree.createBTreeElem();
    static_cast<DataBlockInfo&>(*leaf) = info;
    leaf->data = nullptr;
    insert(info, *leaf, noPattern);
}

void TransitionCapture::flush(TransVecInfo& info, bool noPattern)
{
    const DataBaseTransiton* const records = info.records();
    BTreeElem* const leaf = m_store.tree.createBTreeElem();
    leaf->firstTime = records[0].time;
    leaf->lastTime = records[info.count - 1].time;
    leaf->count = info.count;
    leaf->flags = records[0].type & kTypeMask;
    insert(info, *leaf, noPattern);
}

template <typename Info> void TransitionCapture::insert(Info& info, BTreeElem& leaf, bool noPattern)
{
    const BTreeElem* const root = m_store.tree.findRoot(info.id);
    m_compressor.compressAndStoreData(info, leaf, noPattern,
                                      root ? leaf.firstTime - root->lastTime : 0);
    m_store.tree.insertNewBTreeNode(info.id, &leaf);
}

// The value bits lie in memory as they lay; only the delta slots change their width.
void TransitionCapture::widen(VlogTransVecInfo& info)
{
    const ValueType kind = blockType(info.flags);
    ListNode* const node = takeBlock(info.id, packedBufferBytes(kind, info.capacity, true));
    std::memset(packedValues(node->data, info.capacity, true), 0,
                packedValueBytes(kind, info.capacity, true));
    auto* const wide = reinterpret_cast<std::uint64_t*>(node->data);
    for (int i = 0; i + 1 < info.count; ++i) {
        wide[i] = info.data[i];
    }
    std::memcpy(packedValues(node->data, info.capacity, true),
                packedValues(info.data, info.capacity, false),
                (static_cast<std::size_t>(info.count) * packedBits(kind) + 7) / 8);
    info.flags |= kWideFlag;
    replaceBlock(info, node);
}

void TransitionCapture::grow(VlogTransVecInfo& info)
{
    const ValueType kind = blockType(info.flags);
    const bool isWide = (info.flags & kWideFlag) != 0;
    const int capacity = 2 * info.capacity;
    ListNode* const node = takeBlock(info.id, packedBufferBytes(kind, capacity, isWide));
    unsigned char* const values = packedValues(node->data, capacity, isWide);
    std::memset(values, 0, packedValueBytes(kind, capacity, isWide));
    // The slot of the last transition is not written yet.
    std::memcpy(node->data, info.data,
                static_cast<std::size_t>(info.count - 1) * slotBytes(isWide));
    std::memcpy(values, packedValues(info.data, info.capacity, isWide),
                packedValueBytes(kind, info.capacity, isWide));
    info.capacity = capacity;
    replaceBlock(info, node);
}

void TransitionCapture::grow(TransVecInfo& info)
{
    const int capacity = 2 * info.capacity;
    ListNode* const node = takeBlock(info.id, recordBytes(capacity));
    std::memcpy(node->data, info.data, recordBytes(info.count));
    info.capacity = capacity;
    replaceBlock(info, node);
}

void TransitionCapture::replaceBlock(BufferHeader& info, ListNode* node)
{
    m_bufferPool.release(info.node);
    node->owner = &info;
    info.node = node;
    info.data = node->data;
    // Taking the block may have evicted an object of another page and cleared this slot for it.
    const std::uint32_t id = info.id;
    m_store.pages.findOrCreate(id).buffers[id & 0xFFFF] = &info;
}

// A block for the object `storedId`. Its size is never that of the object's present block, so the
// buffer that it is taken from is another object's.
ListNode* TransitionCapture::takeBlock(std::uint32_t storedId, std::size_t bytes)
{
    ListNode* const node = m_bufferPool.allocate(bytes);
    if (node->owner) {
        evict(*static_cast<BufferHeader*>(node->owner), storedId);
    }
    node->owner = nullptr;
    return node;
}

void TransitionCapture::evict(BufferHeader& header, std::uint32_t storedId)
{
    const std::uint32_t id = header.id;
    std::unique_lock<std::mutex> lock(m_store.stripe(id), std::defer_lock);
    if (m_store.mode == DataBaseMode::StoringReader &&
        &m_store.stripe(id) != &m_store.stripe(storedId)) {
        // Stripes have no order among themselves. Nobody waits for this thread with one in hand,
        // so it gets the second one in the end; it tries for it so that no order is claimed.
        while (!lock.try_lock()) {
            boost::this_thread::yield();
        }
    }
    emptyBuffer(header, header.isPacked || header.count < kMinSearchedEviction);
    // The page is that of the object being stored. An evicted object of another page leaves its
    // slot behind, which reads as empty from now on because the header loses its id.
    m_store.pages.findOrCreate(storedId).buffers[id & 0xFFFF] = nullptr;
    freeHeader(header);
}

void TransitionCapture::emptyBuffer(BufferHeader& header, bool noPattern)
{
    while (header.count > 0) {
        if (header.isPacked) {
            flush(static_cast<VlogTransVecInfo&>(header), noPattern);
        } else {
            flush(static_cast<TransVecInfo&>(header), noPattern);
        }
        noPattern = true;
    }
}

void TransitionCapture::discard(BufferHeader& header)
{
    emptyBuffer(header, true);
    m_bufferPool.release(header.node);
    freeHeader(header);
}

void TransitionCapture::freeHeader(BufferHeader& header)
{
    if (header.isPacked) {
        m_packedHeaders.release(static_cast<VlogTransVecInfo&>(header));
    } else {
        m_genericHeaders.release(static_cast<TransVecInfo&>(header));
    }
}

void TransitionCapture::flushBuffers()
{
    m_store.pages.forEachBuffer([this](std::uint32_t id, BufferHeader& header) {
        std::unique_lock<std::mutex> lock(m_store.stripe(id), std::defer_lock);
        if (m_store.mode == DataBaseMode::StoringReader) {
            lock.lock();
        }
        emptyBuffer(header, true);
    });
}

void TransitionCapture::resetBuffers()
{
    m_store.pages.forEachBuffer([this](std::uint32_t, BufferHeader& header) {
        header.count = 0;
        // A block of the wide form has a size of its own, which the narrow form must not keep.
        if (header.isPacked && (header.flags & kWideFlag) != 0) {
            discard(header);
            return;
        }
        header.firstTime = header.lastTime = header.largestDiff = 0;
        header.initialValueChecked = false;
        header.patternHint = BufferHeader::kFreshHint;
        if (header.isPacked) {
            clearPackedValues(static_cast<VlogTransVecInfo&>(header));
        }
    });
}

} // namespace Tracewell
