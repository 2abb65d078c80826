// SPDX-License-Identifier: BSD-3-Clause

#include "names/DataLayout.h"

namespace tracewell {

DataLayout::DataLayout(const Declarations& declarations)
    : m_addresses(declarations.objects.size(), 0)
{
    long long next = 0;
    const auto place = [&](ValueKind::Part part) {
        for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
            const Object& object = declarations.objects[i];
            if (object.kind->part() == part) {
                m_addresses[i] = next;
                next += sizeOf(object);
            }
        }
    };
    place(ValueKind::Part::Wide);
    m_eventStart = next;
    place(ValueKind::Part::Firings);
    m_eventEnd = next;
    place(ValueKind::Part::Letters);

    m_overrideStart = (next + kOverrideAlignment - 1) / kOverrideAlignment * kOverrideAlignment;
    m_totalSize = m_overrideStart + 8 * static_cast<long long>(declarations.objects.size());
}

} // namespace tracewell
