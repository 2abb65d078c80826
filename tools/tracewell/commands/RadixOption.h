// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"
#include "wave/SignalNames.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tracewell {

/// --radix: how values are written, for all signals and for some by their names.
class RadixOption
{
public:
    /// `draws` for a command that can show curves.
    void addTo(CLI::App& command, bool draws = false);

    /// Gives the signals what was asked for. What is asked for by a name counts more than what is
    /// for all.
    /// \throws Failure when a name fits nothing in the recording.
    void apply(const SignalNames& file, std::vector<Signal>& signals) const;

private:
    std::vector<std::string> m_arguments;
};

} // namespace tracewell
