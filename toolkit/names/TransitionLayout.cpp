// SPDX-License-Identifier: BSD-3-Clause

#include "names/TransitionLayout.h"

namespace tracewell {

TransitionLayout::TransitionLayout(const Declarations& declarations)
    : m_ids(declarations.objects.size(), 0)
{
    unsigned long long count = 0;
    for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
        const std::uint32_t own = countOf(declarations.objects[i]);
        if (own != 0) {
            m_ids[i] = static_cast<std::uint32_t>(count + 1);
        }
        count += own;
    }
    m_nineStateOffset = static_cast<std::uint32_t>(count);
    m_totalCount = 2 * count;
}

} // namespace tracewell
