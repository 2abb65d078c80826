// SPDX-License-Identifier: BSD-3-Clause

#include "ChannelRefusal.h"

namespace Tracewell {

namespace {

thread_local ChannelRefusal* innermost = nullptr;

} // namespace

ChannelRefusal::ChannelRefusal() : m_outer(innermost)
{
    innermost = this;
}

ChannelRefusal::~ChannelRefusal()
{
    innermost = m_outer;
}

bool ChannelRefusal::keep(const std::string& reason)
{
    if (!innermost) {
        return false;
    }
    if (innermost->m_reason.empty()) {
        innermost->m_reason = reason;
    }
    return true;
}

} // namespace Tracewell
