// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"
#include "TracewellExport.h"

namespace Tracewell {

class TRACEWELL_API WriterFactory
{
public:
    /// A stand-alone writer made on the first call, apart from the exported one.
    static IWdbWriter& getWdbWriter();
};

} // namespace Tracewell
