// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbIBlockManager.h"

#include <string>
#include <type_traits>

namespace Tracewell {

/// One section in a container's table of contents, 48 bytes, stored as a block of its own.
struct TRACEWELL_API WdbTableOfContentItem
{
    static constexpr unsigned int kIdSize = 24;

    WdbTableOfContentItem();
    /// Both arguments are ignored: an item starts empty.
    WdbTableOfContentItem(unsigned int itemParameter, long long baseAddress);

    void clear();
    /// Pads with zeros, cuts at 24 bytes.
    void setSectionID(const std::string& sectionId);
    bool isSectionAndVersionMatched(const std::string& sectionId, unsigned int version) const;
    long long addBlock(WdbIBlockManager& manager, unsigned int& size) const;
    /// Reads 48 bytes whatever `size` says.
    void loadBlock(long long offset, unsigned long size, WdbIBlockManager& manager);

    char m_sectionId[kIdSize];
    unsigned long long m_version;
    long long m_fileOffset;
    long long m_size;
};

static_assert(sizeof(WdbTableOfContentItem) == 48 &&
              std::is_trivially_copyable_v<WdbTableOfContentItem>);

} // namespace Tracewell
