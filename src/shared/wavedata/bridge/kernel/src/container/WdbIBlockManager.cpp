#include "WdbIBlockManager.h"

namespace Tracewell {

WdbIBlockManager::WdbIBlockManager() = default;
WdbIBlockManager::~WdbIBlockManager() = default;

bool WdbIBlockManager::contains(long long /*handle*/, unsigned long long /*size*/) const
{
    return true;
}

} // namespace Tracewell
