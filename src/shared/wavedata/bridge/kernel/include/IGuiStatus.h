// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

namespace QSIM {

/// A viewer's progress display. The viewer implements it; scans call it on their caller's thread.
class TRACEWELL_API IGuiStatus
{
public:
    virtual ~IGuiStatus();
    /// `percent` goes from 0 to 100.
    virtual void setProgress(double percent) = 0;
    virtual double getProgress() = 0;
};

} // namespace QSIM
