// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"

#include <memory>
#include <vector>

namespace Tracewell {

/// Headers of open buffers. Their memory stays until the end, so that a stale slot of a page can
/// look at the id of the header that it points to.
template <typename Info> class HeaderArena
{
public:
    /// A header of unknown contents; its id is BufferHeader::kNoId.
    Info* allocate()
    {
        if (m_free.empty()) {
            m_chunks.push_back(std::make_unique<Info[]>(kChunk));
            m_free.reserve(m_chunks.size() * kChunk);
            for (std::size_t i = kChunk; i-- > 0;) {
                m_free.push_back(&m_chunks.back()[i]);
            }
        }
        Info* const header = m_free.back();
        m_free.pop_back();
        return header;
    }
    void release(Info& header)
    {
        header.id.store(BufferHeader::kNoId, std::memory_order_relaxed);
        m_free.push_back(&header);
    }

private:
    static constexpr std::size_t kChunk = 256;

    std::vector<std::unique_ptr<Info[]>> m_chunks;
    std::vector<Info*> m_free;
};

} // namespace Tracewell
