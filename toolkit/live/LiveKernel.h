// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "live/LiveChannel.h"
#include "record/Store.h"
#include "record/ValueSink.h"

#include "IWdbWriter.h"

#include <functional>
#include <memory>

namespace tracewell {

/// The kernel's side of a live channel, of one of the two kinds. Closes it at its end.
class LiveKernel
{
public:
    LiveKernel() = default;
    LiveKernel(const LiveKernel&) = delete;
    LiveKernel& operator=(const LiveKernel&) = delete;
    virtual ~LiveKernel() = default;

    virtual Tracewell::IWdbWriter& writer() = 0;
    /// For the recorder that feeds the writer.
    virtual MakeSink sink() = 0;
    /// Asked about every 10 ms by who waits for room; false gives up what found none. Before the
    /// open.
    virtual void setWaitHook(std::function<bool()> hook) = 0;
    virtual bool isOpen() const = 0;
    virtual bool isViewerPresent() const = 0;
    /// Whether the next viewer can use what the one before left in the channel. If not, it must
    /// find an empty channel and be told all values anew.
    virtual bool keepsUnread() const = 0;
};

std::unique_ptr<LiveKernel> makeLiveKernel(Store store);

} // namespace tracewell
