// SPDX-License-Identifier: BSD-3-Clause

#include "record/RecordingWriter.h"

namespace tracewell {

std::unique_ptr<RecordingWriter> makeRecordingWriter(Store store, unsigned int division)
{
    switch (store) {
    case Store::Transitions:
        return makeTransitionWriter();
    case Store::Indexed:
        return makeIndexedWriter();
    case Store::Columns:
        return makeColumnWriter();
    case Store::Events:
        break;
    }
    return makeEventWriter(division);
}

} // namespace tracewell
