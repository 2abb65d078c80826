#pragma once

namespace tracewell {

struct SurveyContext;

/// Surveys a transition database in place of the parts of an event database.
void surveyTransitions(const SurveyContext& context);

} // namespace tracewell
