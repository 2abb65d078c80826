// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "search/ExpressionLexer.h"
#include "search/ExpressionTree.h"

namespace tracewell {

// Expressions as SystemVerilog (IEEE 1800) has them, with its order of operators.
// \throws Failure for wrong usage, with the place in the text.

/// One condition, or several with ## between them.
SequenceTree parseSequence(const ExpressionText& text);
/// "posedge clk iff enable", with "or" or "," between several; "@( )" around it is allowed.
EventTree parseEvent(const ExpressionText& text);

} // namespace tracewell
