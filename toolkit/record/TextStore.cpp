// SPDX-License-Identifier: BSD-3-Clause

#include "record/TextStore.h"

#include "IWdbWriter.h"

#include <limits>

namespace tracewell {

namespace {

constexpr std::size_t kLongestPiece = 1010;
/// Noise does not compress, and then a block has no room for a piece of the full length.
constexpr std::size_t kNoisePiece = 512;
constexpr std::size_t kMostKnownBytes = 4 << 20;
/// What an entry of the table takes besides its text.
constexpr std::size_t kEntryBytes = 80;

} // namespace

bool TextStore::refer(char kind, std::string_view text, TextReference& reference)
{
    std::string key(text);
    const auto known = m_known.find(key);
    reference = TextReference();
    if (known != m_known.end()) {
        reference = known->second;
    } else {
        if (!store(text, reference)) {
            reference = TextReference();
            return false;
        }
        if (m_knownBytes > kMostKnownBytes) {
            m_known.clear();
            m_knownBytes = 0;
        }
        m_knownBytes += key.size() + kEntryBytes;
        m_known.emplace(std::move(key), reference);
    }
    reference.kind = static_cast<std::uint8_t>(kind);
    return true;
}

void TextStore::beginFile()
{
    m_known.clear();
    m_knownBytes = 0;
}

bool TextStore::store(std::string_view text, TextReference& reference)
{
    std::size_t length = kLongestPiece;
    while (!text.empty()) {
        m_piece = text.substr(0, length);
        const long long id = m_writer.addString(m_piece);
        if (id == 0) {
            reference.firstId = ++m_untold;
            reference.pieces = 1;
            return true;
        }
        if (id < 0 && length > kNoisePiece) {
            length = kNoisePiece;
            continue;
        }
        if (id < 0 || id > std::numeric_limits<std::uint32_t>::max() ||
            reference.pieces == std::numeric_limits<std::uint16_t>::max()) {
            return false;
        }
        if (reference.pieces == 0) {
            reference.firstId = static_cast<std::uint32_t>(id);
        }
        ++reference.pieces;
        text.remove_prefix(m_piece.size());
    }
    return true;
}

} // namespace tracewell
