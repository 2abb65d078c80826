#pragma once

#include <stdexcept>

namespace tracewell {

/// A failure that ends a command with exit code 1. The text is one line: which file, where, why,
/// and what to do.
class CommandError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace tracewell
