// SPDX-License-Identifier: BSD-3-Clause

#include "WriterFactory.h"

#include "WdbStandAloneWriter.h"

namespace Tracewell {

IWdbWriter& WriterFactory::getWdbWriter()
{
    static WdbStandAloneWriter writer;
    return writer;
}

} // namespace Tracewell
