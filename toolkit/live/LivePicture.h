// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "draw/Picture.h"
#include "wave/SignalNames.h"
#include "wave/SignalValues.h"
#include "wave/ValueText.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

class LiveViewer;

/// The chosen signals of a simulation that is being followed, drawn or told as they are now.
class LivePicture
{
public:
    /// Labels and values.
    using Values = std::vector<std::pair<std::string, std::string>>;

    /// `names` and `viewer` outlast it. `shown` is the stretch of time at the end that is drawn; 0
    /// is all.
    /// \throws Failure
    LivePicture(LiveViewer& viewer, const SignalNames& names, std::vector<Signal> signals,
                long long shown);

    /// Lines of at most `columns` characters, as many signals as go into `rows` lines.
    std::vector<std::string> draw(unsigned int columns, std::size_t rows) const;
    /// What each signal holds now.
    Values currentValues() const;
    /// Says of which signals the texts are missing; empty when there are none.
    std::string noteOnTexts() const;

private:
    LiveViewer& m_viewer;
    const SignalNames& m_names;
    std::unique_ptr<SignalValues> m_values;
    long long m_shown;
};

} // namespace tracewell
