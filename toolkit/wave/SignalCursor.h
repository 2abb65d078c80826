// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"

namespace tracewell {

/// A stretch of simulation time and how finely it is looked at. Changes that lie at most
/// `resolution` apart come out as dense; 0 gives every change.
struct TimeWindow
{
    long long from = 0;
    long long to = 0;
    long long resolution = 0;
};

/// The history of one signal, answer by answer. The first answer is what holds at the start of the
/// window, with the time at which it came up; a part of the signal whose first value comes later
/// does not take part in it. The answers that follow are changes in the window, each with what
/// holds from then on. Of an event, each answer with a value is a firing.
class SignalCursor
{
public:
    virtual ~SignalCursor() = default;

    /// Steps to the next answer; false when there is none.
    virtual bool next() = 0;
    long long time() const { return m_time; }
    const SignalState& state() const { return m_state; }

protected:
    long long m_time = 0;
    SignalState m_state;
};

} // namespace tracewell
