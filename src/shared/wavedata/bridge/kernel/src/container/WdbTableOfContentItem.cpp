// SPDX-License-Identifier: BSD-3-Clause

#include "WdbTableOfContentItem.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Tracewell {

static_assert(offsetof(WdbTableOfContentItem, m_sectionId) == 0);
static_assert(offsetof(WdbTableOfContentItem, m_version) == 24);
static_assert(offsetof(WdbTableOfContentItem, m_fileOffset) == 32);
static_assert(offsetof(WdbTableOfContentItem, m_size) == 40);

namespace {

void padId(char (&field)[WdbTableOfContentItem::kIdSize], const std::string& sectionId)
{
    std::memset(field, 0, sizeof field);
    std::memcpy(field, sectionId.data(), std::min(sectionId.size(), sizeof field));
}

} // namespace

WdbTableOfContentItem::WdbTableOfContentItem()
{
    clear();
}

WdbTableOfContentItem::WdbTableOfContentItem(unsigned int /*itemParameter*/,
                                             long long /*baseAddress*/)
{
    clear();
}

void WdbTableOfContentItem::clear()
{
    std::memset(m_sectionId, 0, sizeof m_sectionId);
    m_version = 0;
    m_fileOffset = 0;
    m_size = 0;
}

void WdbTableOfContentItem::setSectionID(const std::string& sectionId)
{
    padId(m_sectionId, sectionId);
}

bool WdbTableOfContentItem::isSectionAndVersionMatched(const std::string& sectionId,
                                                       unsigned int version) const
{
    char padded[kIdSize];
    padId(padded, sectionId);
    return std::memcmp(padded, m_sectionId, sizeof padded) == 0 && m_version == version;
}

long long WdbTableOfContentItem::addBlock(WdbIBlockManager& manager, unsigned int& size) const
{
    size = sizeof *this;
    return manager.addBlock(reinterpret_cast<const char*>(this), sizeof *this);
}

void WdbTableOfContentItem::loadBlock(long long offset, unsigned long /*size*/,
                                      WdbIBlockManager& manager)
{
    clear();
    if (manager.contains(offset, sizeof *this)) {
        manager.getBlock(offset, reinterpret_cast<char*>(this), sizeof *this);
    }
}

} // namespace Tracewell
