// SPDX-License-Identifier: BSD-3-Clause

#include "SharedMemory.h"

#include "ChannelName.h"
#include "RegionAttachment.h"
#include "RingSpace.h"
#include "platform/SharedRegion.h"

#include <algorithm>

namespace Tracewell {

namespace {

constexpr unsigned int kIndexSize = sizeof(std::uint32_t);
/// Each fails by a whole life of a producer that falls into it.
constexpr int kMostAttempts = 100;

unsigned int notNegative(int size)
{
    return static_cast<unsigned int>(std::max(size, 0));
}

} // namespace

SharedMemory::SharedMemory(int mode, const std::string& path, int /*unused*/, int dataSize,
                           const std::string& dataPrefix, int pointerSize,
                           const std::string& pointerPrefix)
    : m_dataSize(notNegative(dataSize)), m_dataRegion(std::make_unique<SharedRegion>()),
      m_pointerRegion(std::make_unique<SharedRegion>())
{
    if (mode != kOpen && mode != kCreate) {
        return;
    }
    const std::string absolutePath = makeAbsolute(path);
    const std::string description = "shared memory of " + absolutePath;
    const std::string dataName = makeRegionName(dataPrefix, "", absolutePath, "");
    const std::string pointerName = makeRegionName(pointerPrefix, "", absolutePath, "");
    // The last record begins at the data size.
    const std::size_t dataBytes = std::size_t{m_dataSize} + kRecordSize;
    const std::size_t pointerBytes = notNegative(pointerSize);
    if (mode == kCreate) {
        attachRegion(*m_dataRegion, RegionMode::Create, dataName, dataBytes, description);
        attachRegion(*m_pointerRegion, RegionMode::Create, pointerName, pointerBytes, description);
    } else {
        openPair(dataName, dataBytes, pointerName, pointerBytes, description);
    }
    m_data = m_dataRegion->data();
    char* const pointers = m_pointerRegion->data();
    if (pointers && pointerBytes >= kIndexSize) {
        m_writeIndex = reinterpret_cast<std::uint32_t*>(pointers);
    }
    if (pointers && pointerBytes >= 2 * kIndexSize) {
        m_readIndex = m_writeIndex + 1;
    }
    if (mode == kCreate) {
        clearPointers();
    }
}

SharedMemory::~SharedMemory() = default;

/// A producer may close and open again between the two: the records would then be those of the run
/// before and the pointers those of the next.
void SharedMemory::openPair(const std::string& dataName, std::size_t dataBytes,
                            const std::string& pointerName, std::size_t pointerBytes,
                            const std::string& description)
{
    auto outcome = SharedRegion::Outcome::PartnerReplaced;
    for (int i = 0; i < kMostAttempts && outcome == SharedRegion::Outcome::PartnerReplaced; ++i) {
        const bool hasData =
            attachRegion(*m_dataRegion, RegionMode::Open, dataName, dataBytes, description);
        outcome = m_pointerRegion->open(pointerName, pointerBytes,
                                        hasData ? m_dataRegion.get() : nullptr);
    }
    if (outcome != SharedRegion::Outcome::Done) {
        tellFailure(outcome, RegionMode::Open, pointerBytes, description);
    }
    // The producer shall see no viewer that has half of it.
    if (!m_dataRegion->data() || !m_pointerRegion->data()) {
        m_pointerRegion->close();
        m_dataRegion->close();
    }
}

bool SharedMemory::isPeerPresent() const
{
    return isMapped() && m_pointerRegion->isPeerPresent();
}

// The pointers are made last, so whoever finds them finds the records.
bool SharedMemory::isOffered(const std::string& path, int pointerSize,
                             const std::string& pointerPrefix)
{
    return SharedRegion::isOffered(makeRegionName(pointerPrefix, "", makeAbsolute(path), ""),
                                   notNegative(pointerSize));
}

bool SharedMemory::isTaken(const std::string& path, int pointerSize,
                           const std::string& pointerPrefix)
{
    return SharedRegion::hasOpener(makeRegionName(pointerPrefix, "", makeAbsolute(path), ""),
                                   notNegative(pointerSize));
}

bool SharedMemory::hasIndexOutside() const
{
    return isMapped() &&
           !(isPlace(loadPeerIndex(m_readIndex)) && isPlace(loadPeerIndex(m_writeIndex)));
}

/// In a ring that is no multiple of the record's size, every round has places of its own. In the
/// others a reader that took an index between two places for sound would never come to it.
bool SharedMemory::isPlace(unsigned int index) const
{
    return index <= m_dataSize && (m_dataSize % kRecordSize != 0 || index % kRecordSize == 0);
}

unsigned int SharedMemory::getFilledCount() const
{
    if (!isMapped()) {
        return 0;
    }
    const std::uint32_t readIndex = loadPeerIndex(m_readIndex);
    const std::uint32_t writeIndex = loadPeerIndex(m_writeIndex);
    if (!isPlace(readIndex) || !isPlace(writeIndex)) {
        return 0;
    }
    return (writeIndex >= readIndex ? writeIndex - readIndex
                                    : writeIndex + m_dataSize - readIndex) /
           kRecordSize;
}

char* SharedMemory::getEmptyBlock()
{
    if (!isMapped() || kRecordSize >= m_dataSize / 2) {
        return nullptr;
    }
    const std::uint32_t writeIndex = loadOwnIndex(m_writeIndex);
    const std::uint32_t readIndex = loadPeerIndex(m_readIndex);
    std::uint32_t nextWrite = 0;
    if (!isPlace(writeIndex) || !isPlace(readIndex) ||
        !fitsIntoRing(m_dataSize, writeIndex, readIndex, kRecordSize, nextWrite)) {
        return nullptr;
    }
    m_nextWrite = nextWrite;
    return m_data + writeIndex;
}

void SharedMemory::commitWrite()
{
    if (m_writeIndex) {
        publishIndex(m_writeIndex, m_nextWrite);
    }
}

char* SharedMemory::getNextBlock()
{
    if (!isMapped()) {
        return nullptr;
    }
    const std::uint32_t readIndex = loadOwnIndex(m_readIndex);
    const std::uint32_t writeIndex = loadPeerIndex(m_writeIndex);
    if (readIndex == writeIndex || !isPlace(readIndex) || !isPlace(writeIndex)) {
        return nullptr;
    }
    m_currentRead = readIndex;
    return m_data + readIndex;
}

bool SharedMemory::advanceRead()
{
    if (!isMapped()) {
        return false;
    }
    const std::uint64_t next = std::uint64_t{m_currentRead} + kRecordSize;
    return replaceIndex(m_readIndex, m_currentRead,
                        static_cast<std::uint32_t>(next > m_dataSize ? next - m_dataSize : next));
}

void SharedMemory::clearPointers()
{
    if (m_writeIndex && m_readIndex) {
        clearIndexPair(m_writeIndex);
    } else if (m_writeIndex) {
        publishIndex(m_writeIndex, 0);
    }
}

} // namespace Tracewell
