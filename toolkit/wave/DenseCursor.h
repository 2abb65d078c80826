// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/SignalCursor.h"

#include <memory>

namespace tracewell {

/// Joins the changes of another cursor that lie at most `resolution` apart to dense stretches: one
/// answer where such a stretch begins, and one with the value that its last change brings. The same
/// for every store, since it sees each change; a picture, which asks a store for less, is quicker.
/// What lies outside of the window makes nothing dense: a value from before it is no change, and
/// the last change in it ends a stretch.
class DenseCursor : public SignalCursor
{
public:
    /// `exact` has a resolution of 0.
    DenseCursor(std::unique_ptr<SignalCursor> exact, long long from, long long resolution);

    bool next() override;

private:
    std::unique_ptr<SignalCursor> m_exact;
    long long m_from;
    long long m_resolution;
    /// Whether `m_exact` stands at an answer that was not given yet.
    bool m_hasComing;
    bool m_isInStretch = false;
};

} // namespace tracewell
