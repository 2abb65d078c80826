#include "FatalError.h"

#include "StorageFailure.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>

#include <unistd.h>

namespace Tracewell {

namespace {

/// Guards the handler against one that is set meanwhile.
std::mutex s_handlerMutex;
std::shared_ptr<const StorageFailureHandler> s_handler;

/// Shared, so that it may be replaced while another thread is in it.
std::shared_ptr<const StorageFailureHandler> getHandler()
{
    const std::lock_guard<std::mutex> lock(s_handlerMutex);
    return s_handler;
}

} // namespace

void setStorageFailureHandler(StorageFailureHandler handler)
{
    auto next =
        handler ? std::make_shared<const StorageFailureHandler>(std::move(handler)) : nullptr;
    const std::lock_guard<std::mutex> lock(s_handlerMutex);
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
    if (const auto handler = getHandler())
        (*handler)(line);
}

void StorageHealth::breakDown(const std::string& literal)
{
    const int error = errno;
    if (m_isBroken.exchange(true, std::memory_order_acq_rel))
        return;
    errno = error;
    reportFatalError(literal);
}

} // namespace Tracewell
