// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"
#include "wave/SignalNames.h"

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tracewell {

/// --radix and --names: how values are written, for all signals and for some by their names.
class RadixOption
{
public:
    /// `draws` for a command that can show curves.
    void addTo(CLI::App& command, bool draws = false);

    /// Gives the signals what was asked for. What is asked for by a name counts more than what is
    /// for all.
    /// Of --names the signals refer to this object.
    /// \throws Failure when a name fits nothing in the recording, or names of values make no sense.
    void apply(const SignalNames& file, std::vector<Signal>& signals) const;

private:
    std::vector<std::string> m_arguments;
    std::vector<std::string> m_nameFiles;
    /// What apply() has read.
    mutable std::vector<std::unique_ptr<Enumeration>> m_names;
};

} // namespace tracewell
