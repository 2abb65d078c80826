// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/run/RunChange.h"
#include "record/ValueRecorder.h"

#include <string>
#include <string_view>

namespace tracewell {

/// Plays the kernel of a simulation that runs through the changes of an input.
class SignalRecorder
{
public:
    /// Takes what ValueRecorder takes.
    SignalRecorder(const Declarations& declarations, const DataLayout& layout,
                   Tracewell::IWdbWriter& writer, const MakeSink& makeSink)
        : m_values(declarations, layout, writer, makeSink)
    {}

    /// Takes one step. An empty answer is success; otherwise it says what is wrong with the value,
    /// or that the store cannot keep it: the refusal of values() says that too then.
    std::string apply(const RunChange& change);

    ValueRecorder& values() { return m_values; }
    const ValueRecorder& values() const { return m_values; }

private:
    ValueRecorder m_values;
};

} // namespace tracewell
