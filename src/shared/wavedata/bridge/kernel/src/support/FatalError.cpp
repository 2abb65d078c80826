#include "FatalError.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include <unistd.h>

namespace Tracewell {

void reportFatalError(const std::string& literal)
{
    const int error = errno;
    std::cerr << literal << std::strerror(error) << std::endl;
    ::_exit(1);
}

} // namespace Tracewell
