// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLiveEvent.h"

#include "DumpFormat.h"

#include <new>
#include <ostream>

namespace Tracewell {

void* WdbLiveEvent::operator new(std::size_t valueLength)
{
    return ::operator new(valueLength + kHeaderSize);
}

void WdbLiveEvent::operator delete(void* event)
{
    ::operator delete(event);
}

void WdbLiveEvent::dump(std::ostream& os) const
{
    os << "--WdbLiveEvent::dump()\n";
    dumpEventFields(os, m_pTime, m_pStartAddress, m_pLength, getValue());
}

} // namespace Tracewell
