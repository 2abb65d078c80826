// SPDX-License-Identifier: BSD-3-Clause

#include "DigestBuilder.h"

#include <algorithm>

namespace Tracewell {

namespace {

std::uint64_t gapOf(long long before, long long after)
{
    return static_cast<std::uint64_t>(after) - static_cast<std::uint64_t>(before);
}

} // namespace

void DigestBuilder::add(const Changes& changes)
{
    if (changes.field >= m_fields.size()) {
        m_fields.resize(std::size_t{changes.field} + 1);
    }
    Gathered& all = m_fields[changes.field];
    std::uint32_t begin = 0;
    if (all.changes == 0) {
        all.firstSegment = static_cast<std::uint8_t>(m_segments);
        all.firstTime = changes.times[changes.numbers[0]];
        all.firstValue = changes.values[0];
        all.lastTime = all.firstTime;
    } else if (!changes.isCounter) {
        // A segment may begin with the value that there was.
        begin = changes.values[0] == all.lastValue ? 1 : 0;
        all.isUnclear = all.isUnclear || changes.times[changes.numbers[0]] == all.lastTime;
    }
    all.lastSegment = static_cast<std::uint8_t>(m_segments);
    for (std::uint32_t i = begin; i < changes.count; ++i) {
        const long long time = changes.times[changes.numbers[i]];
        all.widestGap = std::max(all.widestGap, gapOf(all.lastTime, time));
        all.lastTime = time;
    }
    all.changes += changes.count - begin;
    all.lastValue = changes.values[changes.count - 1];
}

void DigestBuilder::finishSegment(long long firstTime, long long lastTime)
{
    if (m_segments++ == 0) {
        m_firstTime = firstTime;
    }
    m_lastTime = lastTime;
}

const Bytes& DigestBuilder::finish(std::uint64_t previous)
{
    m_pages.clear();
    m_packed.clear();
    DigestHead head{};
    head.magic = kDigestMagic;
    head.previous = previous;
    head.firstSegment = m_firstSegment;
    head.segments = m_segments;
    head.firstTime = m_firstTime;
    head.lastTime = m_lastTime;

    std::uint32_t begin = 0;
    std::uint32_t entries = 0;
    for (std::uint32_t field = 0; field < m_fields.size(); ++field) {
        entries += m_fields[field].changes > 0 ? 1 : 0;
        if (entries == kEntriesOfDigestPage || field + 1 == m_fields.size()) {
            finishPage(head, begin, field + 1);
            begin = field + 1;
            entries = 0;
        }
    }

    head.pages = static_cast<std::uint32_t>(m_pages.size());
    head.headSize = static_cast<std::uint32_t>(
        sizeof head + m_pages.size() * sizeof(DigestPageRecord) + sizeof(std::uint64_t));
    m_digest.clear();
    m_digest.reserve(head.headSize + m_packed.size());
    appendRecord(m_digest, head);
    for (DigestPageRecord& page : m_pages) {
        page.offset += head.headSize;
        appendRecord(m_digest, page);
    }
    appendRecord(m_digest, checksumOf(m_digest.data(), m_digest.size()));
    m_digest.insert(m_digest.end(), m_packed.begin(), m_packed.end());

    std::fill(m_fields.begin(), m_fields.end(), Gathered{});
    m_firstSegment += m_segments;
    m_segments = 0;
    return m_digest;
}

/// Of the fields from `begin` to `end` that have changes.
void DigestBuilder::finishPage(const DigestHead& head, std::uint32_t begin, std::uint32_t end)
{
    DigestPageRecord page{};
    m_entries.clear();
    for (std::uint32_t field = begin; field < end; ++field) {
        const Gathered& all = m_fields[field];
        if (all.changes == 0) {
            continue;
        }
        if (m_entries.empty()) {
            page.firstField = page.lastField = field;
        }
        const bool hasSummary = all.changes > kDigested * head.segments && !all.isUnclear;
        appendNumber(m_entries, field - page.lastField);
        m_entries.push_back(
            static_cast<std::uint8_t>(all.firstSegment | (hasSummary ? kDigestSummary : 0)));
        m_entries.push_back(all.lastSegment);
        if (hasSummary) {
            appendNumber(m_entries, gapOf(head.firstTime, all.firstTime));
            appendNumber(m_entries, gapOf(all.firstTime, all.lastTime));
            appendNumber(m_entries, all.widestGap);
            appendNumber(m_entries, all.firstValue);
            appendNumber(m_entries, all.lastValue);
        }
        page.lastField = field;
    }
    if (m_entries.empty()) {
        return;
    }
    page.offset = static_cast<std::uint32_t>(m_packed.size());
    page.raw = static_cast<std::uint32_t>(m_entries.size());
    page.codec =
        static_cast<std::uint8_t>(m_packer.append(m_packed, m_entries.data(), m_entries.size()));
    page.stored = static_cast<std::uint32_t>(m_packed.size()) - page.offset;
    page.checksum = checksumOf(m_packed.data() + page.offset, page.stored);
    m_pages.push_back(page);
}

} // namespace Tracewell
