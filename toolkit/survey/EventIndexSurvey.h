// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "survey/EventBlockSurvey.h"

namespace tracewell {

/// Walks the index by time of one bucket, whose tree header lies at `treeHeader`, with the blocks
/// that it lists, and checks what it says of them. `header` is the section's.
void surveyEventIndex(const SurveyContext& context, const Tracewell::WdbEventDatabaseHeader& header,
                      EventBlockSurvey& blocks, EventBlockSurvey::Bucket& bucket,
                      long long treeHeader);

} // namespace tracewell
