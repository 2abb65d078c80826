// SPDX-License-Identifier: BSD-3-Clause

#include "FatalError.h"

#include "StorageFailure.h"
#include "ThreadSafety.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include <unistd.h>

namespace Tracewell {

namespace {

Mutex s_handlerMutex;
std::shared_ptr<const StorageFailureHandler> s_handler TRACEWELL_GUARDED_BY(s_handlerMutex);

/// Shared, so that it may be replaced while another thread is in it.
std::shared_ptr<const StorageFailureHandler> getHandler()
{
    const MutexLock lock(s_handlerMutex);
    return s_handler;
}

} // namespace

void setStorageFailureHandler(StorageFailureHandler handler)
{
    auto next =
        handler ? std::make_shared<const StorageFailureHandler>(std::move(handler)) : nullptr;
    const MutexLock lock(s_handlerMutex);
    s_handler.swap(next);
}

void reportFatalError(const std::string& literal)
{
    const int error = errno;
    const std::string line = literal + std::strerror(error);
    if (const auto handler = getHandler()) {
        (*handler)(line);
        return;
    }
    std::cerr << line << std::endl;
    ::_exit(1);
}

bool hasFailureHandler()
{
    return getHandler() != nullptr;
}

void tellFailureHandler(const std::string& line)
{
    if (const auto handler = getHandler()) {
        (*handler)(line);
    }
}

void StorageHealth::breakDown(const std::string& literal)
{
    const int error = errno;
    if (m_isBroken.exchange(true, std::memory_order_acq_rel)) {
        return;
    }
    errno = error;
    reportFatalError(literal);
}

} // namespace Tracewell
