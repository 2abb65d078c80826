// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/wdb/FileBytes.h"
#include "survey/ExtentMap.h"
#include "survey/Survey.h"

#include <functional>
#include <string>

namespace tracewell {

constexpr const char* kEventSection = "WDB.Event";

/// What the parts of a survey share.
struct SurveyContext
{
    FileBytes& file;
    ExtentMap& extents;
    Survey& survey;
    const std::function<void(double)>& progress;

    void damage(const Place& place, std::string what, std::string lost) const
    {
        survey.findings.addDamage(place, std::move(what), std::move(lost));
    }
    void notice(const Place& place, std::string what) const
    {
        survey.findings.addNotice(place, std::move(what));
    }
    std::string timeText(long long time) const;

    /// Claims a run of bytes that something points to. False, with the damage noted, when it does
    /// not lie in the file, or belongs to something else already: then it is not to be read, which
    /// ends circles and keeps the work within the size of the file.
    bool claim(const Place& place, const std::string& thing, long long offset, long long size,
               const std::string& lost) const;
    void showProgress() const;
};

/// The parts, in the order in which they run. Each expects the ones before it to have run.
void surveyContainer(const SurveyContext& context);
void surveyNames(const SurveyContext& context);
void surveyEvents(const SurveyContext& context);
void surveyStrings(const SurveyContext& context);

/// Of a container with columns, in the place of surveyEvents.
void surveyColumns(const SurveyContext& context);

/// All of a transition database.
void surveyTransitions(const SurveyContext& context);

/// Reads the names if the bytes are a table of them.
void surveyNameTable(const SurveyContext& context, const std::string& section, long long offset,
                     long long size);

} // namespace tracewell
