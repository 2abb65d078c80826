// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"

#include <optional>
#include <string>

namespace tracewell {

/// Where the texts are that a data memory refers to.
class TextSource
{
public:
    virtual ~TextSource() = default;
    /// None when a part of the text is not there.
    virtual std::optional<std::string> find(const TextReference& reference) = 0;
};

} // namespace tracewell
