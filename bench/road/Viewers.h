// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Workload.h"

#include <memory>
#include <string>

namespace tracewell::bench {

/// A viewer of some signals of a stored workload.
class Viewer
{
public:
    virtual ~Viewer() = default;
    virtual std::size_t signalCount() const = 0;
    virtual long long latestTime() const = 0;
    /// The number of answers for drawing a signal.
    virtual std::size_t ask(std::size_t signal, long long from, long long to,
                            long long resolution) = 0;
};

std::unique_ptr<Viewer> openEventViewer(const Workload& workload, const std::string& path,
                                        std::uint32_t signalCount);
std::unique_ptr<Viewer> openTransitionViewer(const Workload& workload, const std::string& path,
                                             std::uint32_t signalCount);
std::unique_ptr<Viewer> openColumnViewer(const Workload& workload, const std::string& path,
                                         std::uint32_t signalCount);

} // namespace tracewell::bench
