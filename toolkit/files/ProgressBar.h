// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <chrono>
#include <string>

namespace tracewell {

/// A bar on the standard error stream that shows how far long work has come. Draws nothing unless
/// that stream is a terminal, and nothing for work that is over within half a second. The
/// destructor wipes it away. One thread.
class ProgressBar
{
public:
    /// `label` is what is being done: "reading".
    explicit ProgressBar(std::string label);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// `fraction` of the work is done, 0 to 1. Cheap enough to call for each block.
    void update(double fraction);

private:
    std::string m_label;
    bool m_terminal;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_nextDraw;
};

} // namespace tracewell
