// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace tracewell {

/// How much of a recording that was never closed is shown.
enum class Reach {
    Whole, ///< what comes up to the time to which everything is in the file, as if it ended there
    Beyond ///< whatever can be read, with values that may be there in part
};

/// What has answers to give from a recording, and may have to say that they lack something.
class Shortfalls
{
public:
    virtual ~Shortfalls() = default;

    /// What the answers so far lack, a line each, without the recording's name; empty when they
    /// are whole.
    virtual std::vector<std::string> shortfalls() const { return {}; }
    /// What a user should know, though nothing was left out; in the same form.
    virtual std::vector<std::string> notices() const { return {}; }
};

/// Prints both on the standard error, with `ending` behind what is lacking. True when something is.
bool tellShortfalls(const std::string& path, const Shortfalls& source,
                    const std::string& ending = {});

} // namespace tracewell
