// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Shortfalls.h"
#include "wave/SignalNames.h"
#include "wave/SignalValues.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A recording opened for reading, with the names of what it recorded. One thread.
class WaveFile : public SignalNames, public Shortfalls
{
public:
    /// Looks at the file and opens it as what it is; a run in a format of others is read as a whole
    /// first.
    /// \throws Failure or Qsim::OpenException
    static std::unique_ptr<WaveFile> open(const std::string& path, Reach reach = Reach::Whole);
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;

    /// Where what is shown ends.
    virtual long long latestTime() const = 0;
    /// That its writer never closed it, or may not have; empty where it did.
    virtual std::string unclosedText() const { return {}; }
    /// The file outlives them.
    /// \throws Failure
    virtual std::unique_ptr<SignalValues> values(std::vector<Signal> signals) = 0;

protected:
    using SignalNames::SignalNames;
};

} // namespace tracewell
