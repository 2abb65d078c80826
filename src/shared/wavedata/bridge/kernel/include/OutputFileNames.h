#pragma once

#include "TracewellExport.h"

#include <string>
#include <vector>

namespace ZSIM {

/// The names of the simulator's files and directories.
class TRACEWELL_API OutputFileNames
{
public:
};

} // namespace ZSIM
