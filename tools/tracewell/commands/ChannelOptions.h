// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "live/LiveChannel.h"

namespace CLI {
class App;
}

namespace tracewell {

/// --channel, --snapshot and --dir of both sides of a live channel.
void addChannelOptions(CLI::App& command, ChannelPlace& place);

} // namespace tracewell
