// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "playback/TextSource.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace tracewell {

/// Keeps the texts of a run that goes by, as a recording's string map would. Bounded: of texts long
/// past those go that nothing refers to any more.
class MemoryTexts : public TextSource
{
public:
    using Visit = std::function<void(const TextReference&)>;
    /// Calls back with every reference that is in use.
    using ForEachInUse = std::function<void(const Visit&)>;

    /// What was added last, this many bytes of it, stays in any case: whoever adds texts may refer
    /// to them again.
    static constexpr std::size_t kRecentBytes = 16u << 20;

    explicit MemoryTexts(ForEachInUse forEachInUse) : m_forEachInUse(std::move(forEachInUse)) {}

    /// Answers the text's id, from 1 on.
    long long add(const std::string& text);
    std::optional<std::string> find(const TextReference& reference) override;

private:
    void dropUnused();

    ForEachInUse m_forEachInUse;
    std::map<std::uint32_t, std::string> m_texts;
    std::uint32_t m_lastId = 0;
    std::size_t m_bytes = 0;
    /// When to look for unused ones.
    std::size_t m_limit = 2 * kRecentBytes;
};

} // namespace tracewell
