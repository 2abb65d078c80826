// SPDX-License-Identifier: BSD-3-Clause

#include "playback/TextLookup.h"

#include "QsimException.h"

#include <algorithm>

namespace tracewell {

namespace {

constexpr std::size_t kOpenBlocks = 64;

} // namespace

TextLookup::TextLookup(const std::string& path)
{
    m_fileManager.open(path);
    try {
        const long long section =
            Tracewell::WdbStringMapDatabase::getStringMapSection(m_fileManager);
        m_map = std::make_unique<Tracewell::WdbStringMapDatabase>(m_fileManager);
        m_map->initialize(section, false);
    } catch (const Qsim::OpenException&) {
        m_map.reset();
        return;
    }
    m_scratch = std::make_unique<Tracewell::WdbStringBlock>(
        Tracewell::WdbStringMapDatabaseHeader::getDefaultBlockSize());
}

void TextLookup::listBlocks()
{
    m_isListed = true;
    for (auto i = m_map->getIterator(); !i.isEof(); ++i) {
        Block block{};
        i.getBlockInfo(block.handle, block.size, block.startId, block.count);
        m_blocks.push_back(block);
    }
}

std::optional<std::string> TextLookup::find(const TextReference& reference)
{
    std::string text;
    const long long end = static_cast<long long>(reference.firstId) + reference.pieces;
    for (long long id = reference.firstId; id < end; ++id) {
        long long startId = 0;
        const std::vector<std::string>* texts = textsOf(id, startId);
        // A damaged block may start anywhere.
        const auto place =
            static_cast<unsigned long long>(id) - static_cast<unsigned long long>(startId);
        if (texts == nullptr || place >= texts->size()) {
            return std::nullopt;
        }
        text += (*texts)[place];
    }
    return text;
}

const std::vector<std::string>* TextLookup::textsOf(long long id, long long& startId)
{
    if (m_map && !m_isListed) {
        listBlocks();
    }
    // Ids go up from block to block.
    const auto behind =
        std::upper_bound(m_blocks.begin(), m_blocks.end(), id,
                         [](long long wanted, const Block& b) { return wanted < b.startId; });
    if (behind == m_blocks.begin()) {
        return nullptr;
    }
    const Block& block = *(behind - 1);
    const auto index = static_cast<std::size_t>(behind - 1 - m_blocks.begin());
    startId = block.startId;
    for (auto open = m_open.begin(); open != m_open.end(); ++open) {
        if (open->index == index) {
            m_open.splice(m_open.begin(), m_open, open);
            return &m_open.front().texts;
        }
    }
    m_map->loadDataBlock(block.handle, block.size, *m_scratch);
    OpenBlock opened{index, {}};
    auto texts = m_scratch->getStringBlockIterator();
    while (!m_scratch->isDamaged() && texts.hasNext()) {
        opened.texts.emplace_back(texts.next().text);
    }
    m_open.push_front(std::move(opened));
    if (m_open.size() > kOpenBlocks) {
        m_open.pop_back();
    }
    return &m_open.front().texts;
}

} // namespace tracewell
