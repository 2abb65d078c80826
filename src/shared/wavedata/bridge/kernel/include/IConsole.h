// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace Tracewell {

/// Where the host shows a message to its user. The host owns it.
class IConsole
{
public:
    virtual void display(const std::string& message) = 0;

protected:
    ~IConsole() = default;
};

} // namespace Tracewell
