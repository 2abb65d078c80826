// SPDX-License-Identifier: BSD-3-Clause

#include "changes/MemoryTexts.h"

#include <limits>
#include <set>

namespace tracewell {

namespace {

/// What an entry takes besides its text.
constexpr std::size_t kEntryBytes = 80;

std::size_t bytesOf(const std::string& text)
{
    return text.size() + kEntryBytes;
}

} // namespace

long long MemoryTexts::add(const std::string& text)
{
    if (m_lastId == std::numeric_limits<std::uint32_t>::max()) {
        return -1;
    }
    m_texts.emplace_hint(m_texts.end(), ++m_lastId, text);
    m_bytes += bytesOf(text);
    if (m_bytes > m_limit) {
        dropUnused();
    }
    return m_lastId;
}

std::optional<std::string> MemoryTexts::find(const TextReference& reference)
{
    std::string text;
    for (std::uint32_t piece = 0; piece < reference.pieces; ++piece) {
        const auto found = m_texts.find(reference.firstId + piece);
        if (found == m_texts.end()) {
            return std::nullopt;
        }
        text += found->second;
    }
    return text;
}

void MemoryTexts::dropUnused()
{
    std::set<std::uint32_t> used;
    m_forEachInUse([&used](const TextReference& reference) {
        for (std::uint32_t piece = 0; piece < reference.pieces; ++piece) {
            used.insert(reference.firstId + piece);
        }
    });
    std::size_t recent = 0;
    auto first = m_texts.end();
    while (first != m_texts.begin() && recent < kRecentBytes) {
        recent += bytesOf((--first)->second);
    }
    for (auto text = m_texts.begin(); text != first;) {
        if (used.find(text->first) != used.end()) {
            ++text;
            continue;
        }
        m_bytes -= bytesOf(text->second);
        text = m_texts.erase(text);
    }
    m_limit = m_bytes + kRecentBytes;
}

} // namespace tracewell
