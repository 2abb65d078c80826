// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <string>
#include <type_traits>

namespace Tracewell {

/// The 64 bytes at the start of a container.
struct TRACEWELL_API WdbFileHeader
{
    static constexpr unsigned int kTextSize = 24;
    static constexpr long long kTableOfContentAnchor = 48;

    /// Version string in place, everything else zero, creation time -1.
    WdbFileHeader();

    void setVersion(const std::string& version);
    void setApplication(const std::string& application);
    /// The application name, at most 24 characters.
    std::string getApplication() const;
    bool isVersionStringMatched() const;

    char m_version[kTextSize];
    char m_application[kTextSize];
    long long m_tableOfContentOffset;
    int m_creationTime;
    int m_reserved;
};

static_assert(sizeof(WdbFileHeader) == 64 && std::is_trivially_copyable_v<WdbFileHeader>);

} // namespace Tracewell
