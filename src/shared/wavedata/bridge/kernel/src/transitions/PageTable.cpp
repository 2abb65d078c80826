// SPDX-License-Identifier: BSD-3-Clause

#include "PageTable.h"

namespace Tracewell {

PageTable::PageTable() : m_pages(new std::atomic<ObjectPage*>[kPages]()) {}

PageTable::~PageTable()
{
    for (std::uint32_t i = 0; i < kPages; ++i) {
        delete m_pages[i].load(std::memory_order_relaxed);
    }
}

ObjectPage& PageTable::create(std::uint32_t id)
{
    auto* const page = new ObjectPage();
    m_pages[id >> 16].store(page, std::memory_order_release);
    return *page;
}

} // namespace Tracewell
