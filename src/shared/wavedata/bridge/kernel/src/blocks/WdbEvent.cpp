// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEvent.h"

#include "DumpFormat.h"

#include <ostream>

namespace Tracewell {

void WdbEvent::dump(std::ostream& os) const
{
    os << "--WdbEvent::dump()\n";
    dumpEventFields(os, getTime(), getStartAddress(), getValuelength(), getValue());
}

} // namespace Tracewell
