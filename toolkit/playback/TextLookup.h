// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "playback/TextSource.h"

#include "WdbFileManager.h"
#include "WdbStringBlock.h"
#include "WdbStringMapDatabase.h"

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// Finds texts of a recording's string map. Keeps an index of the blocks, and a few blocks open, so
/// that a walk through many texts does not walk the map's list for each.
class TextLookup : public TextSource
{
public:
    /// \throws Qsim::OpenException when the file cannot be opened. A file without a string map has
    /// no texts.
    explicit TextLookup(const std::string& path);

    /// None when a part of the text is not in the file: its writer was killed.
    std::optional<std::string> find(const TextReference& reference) override;
    /// What was met that could not be read. The texts of a damaged block count as missing.
    std::vector<Tracewell::WdbDamage> damage() const
    {
        return m_fileManager.getDamageLog().getPlaces();
    }

private:
    struct Block
    {
        long long handle;
        unsigned int size;
        long long startId;
        unsigned int count;
    };
    struct OpenBlock
    {
        std::size_t index;
        std::vector<std::string> texts;
    };

    void listBlocks();
    const std::vector<std::string>* textsOf(long long id, long long& startId);

    Tracewell::WdbFileManager m_fileManager;
    /// Goes before the file manager.
    std::unique_ptr<Tracewell::WdbStringMapDatabase> m_map;
    /// When the first text is asked for.
    bool m_isListed = false;
    std::vector<Block> m_blocks;
    /// Blocks that are open, the one used last in front.
    std::list<OpenBlock> m_open;
    std::unique_ptr<Tracewell::WdbStringBlock> m_scratch;
};

} // namespace tracewell
