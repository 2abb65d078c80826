// SPDX-License-Identifier: BSD-3-Clause

#include "ScanTargets.h"

#include "TreeAppend.h"
#include "WdbEventBlock.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace Tracewell {

namespace {

constexpr long long kHighest = std::numeric_limits<long long>::max();

/// The span for which a table costs nothing, and the table entries that a target may cost.
constexpr unsigned long long kSmallSpan = 1ull << 14;
constexpr unsigned long long kEntriesOfTarget = 32;

} // namespace

ScanTargets::ScanTargets(const std::vector<WdbScalarBTree*>& trees)
    : m_latestTime(std::numeric_limits<long long>::min())
{
    m_targets.reserve(trees.size());
    for (WdbScalarBTree* const tree : trees) {
        m_targets.push_back(
            {tree->getAddress(), tree, tree->isBitBTree(), tree->getBitMask(), kUnknown});
        if (!tree->isEmpty()) {
            m_latestTime = std::max(m_latestTime, tree->getLastValueTime());
        }
    }
    if (m_targets.empty()) {
        return;
    }

    const auto byAddress = [](const Target& a, const Target& b) { return a.address < b.address; };
    std::stable_sort(m_targets.begin(), m_targets.end(), byAddress);
    m_low = m_targets.front().address;
    m_high = m_targets.back().address;
    buildJumpTable();
}

void ScanTargets::buildJumpTable()
{
    const unsigned long long distance =
        static_cast<unsigned long long>(m_high) - static_cast<unsigned long long>(m_low);
    if (distance >= std::max(kSmallSpan, kEntriesOfTarget * m_targets.size())) {
        return;
    }
    m_jumpTable.resize(static_cast<std::size_t>(distance) + 1);
    std::uint32_t target = 0;
    for (std::size_t i = 0; i < m_jumpTable.size(); ++i) {
        while (m_targets[target].address < m_low + static_cast<long long>(i)) {
            ++target;
        }
        m_jumpTable[i] = target;
    }
}

ScanTargets::Target* ScanTargets::firstAtOrAbove(long long address)
{
    if (!m_jumpTable.empty()) {
        return &m_targets[m_jumpTable[static_cast<std::size_t>(address - m_low)]];
    }
    const auto isBelow = [](const Target& target, long long limit) {
        return target.address < limit;
    };
    return &*std::lower_bound(m_targets.begin(), m_targets.end(), address, isBelow);
}

void ScanTargets::addBlock(const WdbEventBlock& block)
{
    if (m_targets.empty()) {
        return;
    }
    const char* record = block.getMemory() + WdbEventBlock::kHeaderSize;
    const char* const end = block.getMemory() + block.getMaxEventBlockSize();
    const auto base = static_cast<unsigned long long>(block.getBaseAddress());
    for (unsigned int left = block.size(); left > 0; --left) {
        WdbEventRecordHeader header;
        if (end - record < static_cast<std::ptrdiff_t>(sizeof header)) {
            return;
        }
        std::memcpy(&header, record, sizeof header);
        record += sizeof header;
        if (header.m_length > end - record) {
            return;
        }
        // Behind damage there may be anything, but not in what was whole.
        if (block.isDamaged() && header.m_time < m_latestTime) {
            return;
        }
        addEvent(header.m_time, static_cast<long long>(base + header.m_addressDelta),
                 header.m_length, record);
        record += header.m_length;
    }
}

void ScanTargets::addEvent(long long time, long long start, unsigned int length, const char* value)
{
    if (start > m_high || length == 0) {
        return;
    }
    const long long last = start > kHighest - length ? kHighest : start + length - 1;
    if (last < m_low) {
        return;
    }

    const bool isBackwards = time < m_latestTime;
    if (!isBackwards) {
        m_latestTime = time;
    }
    Target* const end = m_targets.data() + m_targets.size();
    for (Target* target = firstAtOrAbove(std::max(start, m_low));
         target != end && target->address <= last; ++target) {
        unsigned char byte = static_cast<unsigned char>(value[target->address - start]);
        if (target->isBit) {
            byte = (byte & target->bitMask) != 0;
        }
        if (isBackwards) {
            appendInOrder(*target->tree, time, byte);
            target->lastValue = kUnknown;
        } else if (target->lastValue != byte) {
            target->tree->addValueWithFilter(time, byte);
            // A tree takes anything while its last time is negative.
            target->lastValue = time < 0 ? kUnknown : byte;
        }
    }
}

} // namespace Tracewell
