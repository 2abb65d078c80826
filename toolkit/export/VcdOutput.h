// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "export/RunOutput.h"
#include "files/OutputText.h"

#include <string>

namespace tracewell {

/// A VCD; "-" is the standard output.
class VcdOutput : public RunOutput
{
public:
    /// `input` is what the command reads.
    /// \throws Failure
    VcdOutput(const std::string& output, const std::string& input,
              const Declarations& declarations);

    void write(ChangeStream& changes) override;
    std::string finish(long long end, bool isWhole) override;

private:
    OutputText m_out;
    long long m_written = -1;
};

} // namespace tracewell
