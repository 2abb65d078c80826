// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <string>

namespace Tracewell {

/// While one exists, this thread's failures to make or open a live channel are kept in it and not
/// printed. What other threads print meanwhile is not touched.
class TRACEWELL_API ChannelRefusal
{
public:
    ChannelRefusal();
    ~ChannelRefusal();
    ChannelRefusal(const ChannelRefusal&) = delete;
    ChannelRefusal& operator=(const ChannelRefusal&) = delete;

    /// Of the first failure, what is to be done where that is known, else the step that failed;
    /// empty if there was none.
    const std::string& getReason() const { return m_reason; }
    /// False when this thread has no object that keeps it.
    static bool keep(const std::string& reason);

private:
    std::string m_reason;
    ChannelRefusal* m_outer;
};

} // namespace Tracewell
