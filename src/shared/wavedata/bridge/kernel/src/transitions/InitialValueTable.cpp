// SPDX-License-Identifier: BSD-3-Clause

#include "InitialValueTable.h"

#include "FileIO.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace Tracewell {

InitialValueTable::InitialValueTable() = default;

InitialValueTable::~InitialValueTable()
{
    for (std::atomic<unsigned char*>& page : m_pages) {
        delete[] page.load(std::memory_order_relaxed);
    }
}

void InitialValueTable::put(std::uint32_t id, ValueType kind, unsigned char value)
{
    if (id > getMaxId()) {
        m_maxId.store(id, std::memory_order_relaxed);
    }
    const unsigned int nibble = kind == ValueBit        ? 1
                                : kind == ValueVlog     ? 2
                                : kind == ValueStdLogic ? 4
                                                        : 0;
    if (nibble == 0 || id / kPageSize >= kPages) {
        return;
    }
    pageAt(id / kPageSize)[id % kPageSize] =
        static_cast<unsigned char>(nibble << 4 | (value & 0xFU));
}

bool InitialValueTable::get(std::uint32_t id, Value& value) const
{
    const unsigned char byte = byteOf(id);
    if (byte == 0) {
        return false;
    }
    value.setByte(byte & 0xF);
    return true;
}

ValueType InitialValueTable::kindOfByte(unsigned char byte)
{
    switch (byte >> 4) {
    case 1:
        return ValueBit;
    case 2:
        return ValueVlog;
    case 4:
        return ValueStdLogic;
    default:
        return ValueNone;
    }
}

unsigned char InitialValueTable::byteOf(std::uint32_t id) const
{
    if (id > getMaxId() || id / kPageSize >= kPages) {
        return 0;
    }
    const unsigned char* const page = m_pages[id / kPageSize].load(std::memory_order_acquire);
    return page ? page[id % kPageSize] : std::uint8_t{0};
}

unsigned char* InitialValueTable::pageAt(std::uint32_t index)
{
    unsigned char* page = m_pages[index].load(std::memory_order_relaxed);
    if (!page) {
        page = new unsigned char[kPageSize]();
        m_pages[index].store(page, std::memory_order_release);
    }
    return page;
}

void InitialValueTable::clear()
{
    for (std::atomic<unsigned char*>& entry : m_pages) {
        if (unsigned char* const page = entry.load(std::memory_order_relaxed)) {
            std::memset(page, 0, kPageSize);
        }
    }
    m_maxId.store(0, std::memory_order_relaxed);
}

void InitialValueTable::save(FileIO& file) const
{
    const std::uint32_t maxId = getMaxId();
    file.writeUInt32(maxId);
    if (maxId == 0) {
        return;
    }
    if (maxId < kPageSize) {
        const unsigned char* const page = m_pages[0].load(std::memory_order_relaxed);
        const std::unique_ptr<unsigned char[]> zeros(page ? nullptr
                                                          : new unsigned char[maxId + 1]());
        file.writeData(page ? page : zeros.get(), maxId + 1);
        return;
    }
    std::array<unsigned char, kPages> present;
    std::transform(m_pages.begin(), m_pages.end(), present.begin(), [](const auto& page) {
        return static_cast<unsigned char>(page.load(std::memory_order_relaxed) ? 1 : 0);
    });
    file.writeData(present.data(), kPages);
    for (const std::atomic<unsigned char*>& entry : m_pages) {
        if (const unsigned char* const page = entry.load(std::memory_order_relaxed)) {
            file.writeData(page, kPageSize);
        }
    }
}

bool InitialValueTable::load(FileIO& file, long long end)
{
    const auto left = [&] { return end - file.getOffset(); };
    std::uint32_t maxId = 0;
    if (left() < static_cast<long long>(sizeof maxId) || !file.readUInt32(maxId)) {
        return false;
    }
    m_maxId.store(maxId, std::memory_order_relaxed);
    if (maxId == 0) {
        return true;
    }
    if (maxId < kPageSize) {
        return left() >= static_cast<long long>(maxId) + 1 && file.readData(pageAt(0), maxId + 1);
    }
    std::array<unsigned char, kPages> present;
    if (left() < kPages || !file.readData(present.data(), kPages)) {
        return false;
    }
    for (std::uint32_t i = 0; i < kPages; ++i) {
        if (present[i] != 0 && (left() < kPageSize || !file.readData(pageAt(i), kPageSize))) {
            return false;
        }
    }
    return true;
}

} // namespace Tracewell
