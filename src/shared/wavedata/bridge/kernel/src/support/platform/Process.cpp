#include "platform/Process.h"

#include <unistd.h>

namespace Tracewell {

unsigned int getProcessId()
{
    return static_cast<unsigned int>(::getpid());
}

} // namespace Tracewell
