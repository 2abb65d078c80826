// SPDX-License-Identifier: BSD-3-Clause

#include "WdbFileHeader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Tracewell {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "records are stored as they lie in memory, which must be little-endian");
static_assert(offsetof(WdbFileHeader, m_version) == 0);
static_assert(offsetof(WdbFileHeader, m_application) == 24);
static_assert(offsetof(WdbFileHeader, m_tableOfContentOffset) ==
              WdbFileHeader::kTableOfContentAnchor);
static_assert(offsetof(WdbFileHeader, m_creationTime) == 56);
static_assert(offsetof(WdbFileHeader, m_reserved) == 60);

namespace {

/// With its terminating NUL all 24 bytes count.
constexpr char kVersionString[] = "Zelnix WAVE DATABASE 01";
static_assert(sizeof kVersionString == WdbFileHeader::kTextSize);

void setText(char (&field)[WdbFileHeader::kTextSize], const std::string& text)
{
    std::memset(field, 0, sizeof field);
    std::memcpy(field, text.data(), std::min(text.size(), sizeof field));
}

} // namespace

WdbFileHeader::WdbFileHeader()
    : m_application{}, m_tableOfContentOffset(0), m_creationTime(-1), m_reserved(0)
{
    setVersion(kVersionString);
}

void WdbFileHeader::setVersion(const std::string& version)
{
    setText(m_version, version);
}

void WdbFileHeader::setApplication(const std::string& application)
{
    setText(m_application, application);
}

std::string WdbFileHeader::getApplication() const
{
    return std::string(m_application, ::strnlen(m_application, sizeof m_application));
}

bool WdbFileHeader::isVersionStringMatched() const
{
    return std::memcmp(m_version, kVersionString, sizeof m_version) == 0;
}

} // namespace Tracewell
