// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"

#include <array>
#include <atomic>
#include <memory>

namespace Tracewell {

/// The slots of 65,536 neighbouring ids. A slot and its type byte are guarded by the stripe of
/// their id.
struct ObjectPage
{
    static constexpr std::uint32_t kSlots = 65536;

    std::array<BufferHeader*, kSlots> buffers{};
    /// Kind of the object's first value; for packed buffers their kind.
    std::array<std::uint8_t, kSlots> types{};
};

/// Finds the slot of an id: the page by its high 16 bits, the slot by its low ones. Pages are
/// never taken away, so one thread may add pages beside any number that read.
class PageTable
{
public:
    PageTable();
    PageTable(const PageTable&) = delete;
    PageTable& operator=(const PageTable&) = delete;
    ~PageTable();

    /// Null when no object of the page was stored.
    ObjectPage* find(std::uint32_t id) const
    {
        return m_pages[id >> 16].load(std::memory_order_acquire);
    }
    ObjectPage& findOrCreate(std::uint32_t id)
    {
        ObjectPage* const page = find(id);
        return page ? *page : create(id);
    }
    /// The open buffer of an object, or null: a slot whose header has become another object's
    /// counts as empty. The stripe of the id is held.
    BufferHeader* findBuffer(std::uint32_t id) const
    {
        const ObjectPage* const page = find(id);
        return page ? bufferOf(*page, id) : nullptr;
    }
    static BufferHeader* bufferOf(const ObjectPage& page, std::uint32_t id)
    {
        BufferHeader* const header = page.buffers[id & 0xFFFF];
        return header && header->id.load(std::memory_order_relaxed) == id ? header : nullptr;
    }
    /// 0 for an object that was never stored. The stripe of the id is held.
    std::uint8_t findType(std::uint32_t id) const
    {
        const ObjectPage* const page = find(id);
        return page ? page->types[id & 0xFFFF] : std::uint8_t{0};
    }
    /// Calls visit(id, header) for each slot in use, in the order of ids.
    template <typename Visit> void forEachBuffer(Visit visit) const
    {
        for (std::uint32_t high = 0; high < kPages; ++high) {
            const ObjectPage* const page = m_pages[high].load(std::memory_order_acquire);
            for (std::uint32_t low = 0; page && low < ObjectPage::kSlots; ++low) {
                const std::uint32_t id = high << 16 | low;
                if (BufferHeader* const header = bufferOf(*page, id)) {
                    visit(id, *header);
                }
            }
        }
    }

private:
    static constexpr std::uint32_t kPages = 65536;

    ObjectPage& create(std::uint32_t id);

    const std::unique_ptr<std::atomic<ObjectPage*>[]> m_pages;
};

} // namespace Tracewell
