// SPDX-License-Identifier: BSD-3-Clause

#include "WdbIBlockManager.h"

#include "FatalError.h"

namespace Tracewell {

WdbIBlockManager::WdbIBlockManager() : m_health(std::make_shared<StorageHealth>()) {}
WdbIBlockManager::~WdbIBlockManager() = default;

bool WdbIBlockManager::contains(long long /*handle*/, unsigned long long /*size*/) const
{
    return true;
}

bool WdbIBlockManager::isBroken() const
{
    return m_health->isBroken();
}

void WdbIBlockManager::breakDown(const std::string& literal) const
{
    m_health->breakDown(literal);
}

void WdbIBlockManager::mend() const
{
    m_health->mend();
}

} // namespace Tracewell
