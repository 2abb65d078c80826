// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveViewer.h"

#include "live/EventViewer.h"
#include "live/TransitionViewer.h"

namespace tracewell {

std::unique_ptr<LiveViewer> makeLiveViewer(Store store, const LiveChannel& channel,
                                           const std::string& output)
{
    if (store == Store::Transitions) {
        return std::make_unique<TransitionViewer>(channel, output);
    }
    return std::make_unique<EventViewer>(channel, output);
}

} // namespace tracewell
