// SPDX-License-Identifier: BSD-3-Clause

#include "values/ValueKinds.h"

#include <algorithm>
#include <iterator>

namespace tracewell {

const ValueKind& declaredKind(std::string_view keyword, unsigned int width)
{
    // The first that wants it has it.
    static const ValueKind* const kDeclared[] = {&kReal, &kString, &kEvent, &kVector, &kScalar};
    return **std::find_if(std::begin(kDeclared), std::end(kDeclared), [&](const ValueKind* kind) {
        return kind->isDeclaredBy(keyword, width);
    });
}

} // namespace tracewell
