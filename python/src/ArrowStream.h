// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "arrays/HistoryArrays.h"

#include <cstdint>
#include <memory>

// The structures of the Arrow C data and stream interfaces
// (https://arrow.apache.org/docs/format/CDataInterface.html), under their own names.

extern "C" {

struct ArrowSchema
{
    const char* format;
    const char* name;
    const char* metadata;
    std::int64_t flags;
    std::int64_t n_children;
    ArrowSchema** children;
    ArrowSchema* dictionary;
    void (*release)(ArrowSchema*);
    void* private_data;
};

struct ArrowArray
{
    std::int64_t length;
    std::int64_t null_count;
    std::int64_t offset;
    std::int64_t n_buffers;
    std::int64_t n_children;
    const void** buffers;
    ArrowArray** children;
    ArrowArray* dictionary;
    void (*release)(ArrowArray*);
    void* private_data;
};

struct ArrowArrayStream
{
    int (*get_schema)(ArrowArrayStream*, ArrowSchema* out);
    int (*get_next)(ArrowArrayStream*, ArrowArray* out);
    const char* (*get_last_error)(ArrowArrayStream*);
    void (*release)(ArrowArrayStream*);
    void* private_data;
};
}

namespace tracewell {

/// A stream of one batch with the columns `time` (int64), `value` (uint64, float64, text, or bytes
/// of a fixed size where a value takes more than 64 bits) and, of bits, `unknown` in the shape of
/// `value`. It holds the arrays, and copies none of them but texts.
ArrowArrayStream* makeArrowStream(std::shared_ptr<const HistoryArrays> arrays);
/// Frees what makeArrowStream() gave, whether somebody has taken its content or not.
void dropArrowStream(ArrowArrayStream* stream);

} // namespace tracewell
