// SPDX-License-Identifier: BSD-3-Clause

#include "FieldTable.h"

#include <algorithm>

namespace Tracewell {

void FieldTable::declare(const std::vector<WdbColumnField>& fields)
{
    for (const WdbColumnField& field : fields) {
        if (field.address < 0 || field.address >= kAddressEnd) {
            continue;
        }
        const long long end =
            std::min(field.address + static_cast<long long>(field.size), kAddressEnd);
        for (long long address = field.address; address < end;) {
            const long long pieceEnd =
                std::min(end, (address / kFieldBytes + 1) * static_cast<long long>(kFieldBytes));
            const Part part =
                findOrAdd(address, static_cast<unsigned int>(pieceEnd - address), field.isCounter);
            if (!part.field) {
                return;
            }
            address += part.length;
        }
    }
}

FieldTable::Part FieldTable::findOrAdd(long long address, unsigned int length, bool isCounter)
{
    const auto inGroup = static_cast<unsigned int>(address % kFieldBytes);
    const long long group = address - inGroup;
    for (unsigned int i = 0; i <= inGroup; ++i) {
        const Entry entry = at(group + i);
        if (entry && i + entry.size() > inGroup) {
            return {entry, inGroup - i, std::min(length, i + entry.size() - inGroup)};
        }
    }
    unsigned int end = std::min(inGroup + length, kFieldBytes);
    for (unsigned int i = end - 1; i > inGroup; --i) {
        if (at(group + i)) {
            end = i;
        }
    }
    return {add(address, end - inGroup, isCounter), 0, end - inGroup};
}

FieldTable::Entry FieldTable::add(long long address, unsigned int size, bool isCounter)
{
    if (m_fields.count() >= kMostFields - 1) {
        return {};
    }
    const Entry entry(m_fields.count(), size);
    m_fields.add(static_cast<std::uint64_t>(address), size, isCounter);
    m_values.push_back(0);
    const auto page = static_cast<std::size_t>(address) / kPageSize;
    if (page >= m_pages.size()) {
        m_pages.resize(page + 1);
    }
    if (!m_pages[page]) {
        m_pages[page] = std::make_unique<Page>();
    }
    (*m_pages[page])[static_cast<std::size_t>(address) % kPageSize] = entry;
    return entry;
}

} // namespace Tracewell
