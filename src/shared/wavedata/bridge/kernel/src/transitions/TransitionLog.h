// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Value.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Tracewell {

/// A text of transitions for debugging, one line each: id, time, value. Nothing reaches a file
/// before write.
class TransitionLog
{
public:
    void enter(std::uint32_t id, long long time, const Value& value);
    void clear();
    /// Replaces the file; one that cannot be written is left alone.
    void write(const std::string& path) const;

private:
    std::string m_text;
};

} // namespace Tracewell
