// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"

#include <string>
#include <vector>

namespace tracewell {

/// How a lane goes by in a picture: by what its name has more than the scope above it.
struct LaneName
{
    /// A scope that stands in a line of its own above the lane, from here on; empty for none.
    std::string heading;
    /// The scopes below the heading, with a "." behind each, and the variable.
    std::string scope;
    std::string name;
};

struct LaneNames
{
    /// The scope that all lanes have in common, without the last "."; may be empty.
    std::string common;
    /// A name for each lane.
    std::vector<LaneName> lanes;

    std::size_t headingCount() const;
    /// Places of a character that the longest name takes, headings and the common scope left out.
    std::size_t longest() const;
};

LaneNames nameLanes(const std::vector<Signal>& signals);

} // namespace tracewell
