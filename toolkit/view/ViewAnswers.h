// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "view/SessionFile.h"
#include "view/TimedLog.h"
#include "view/ViewedRun.h"

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Answers the requests of pages about one run or two: a JSON object in, a JSON object or a frame
/// with lanes out. Of a request `id` comes back, `ask` says what is asked for, `run` of which. On
/// one thread, but for placeOf().
class ViewAnswers
{
public:
    /// `log` may be null.
    ViewAnswers(std::vector<std::unique_ptr<ViewedRun>> runs, SessionFile session,
                std::unique_ptr<TimedLog> log);

    /// Whatever the request is.
    std::string answer(const std::string& request, bool& isText);
    /// Whether news() may have something to say.
    bool isRunning() const { return m_isRunning; }
    /// Why a run that went on could not be kept; empty when all is well. Once pages are served no
    /// more.
    const std::string& failure() const { return m_failure; }
    /// What has come of runs that go on, for all pages; empty when nothing has.
    std::string news();

    /// The place in a page that a request for lanes is for; empty for others.
    static std::string placeOf(const std::string& request);

private:
    using Json = ViewedRun::Json;

    Json answerJson(const Json& request);
    Json greet();
    Json compare(const Json& request);
    Json save(const Json& request) const;
    Json readLog(const Json& request) const;

    std::vector<std::unique_ptr<ViewedRun>> m_runs;
    SessionFile m_session;
    std::unique_ptr<TimedLog> m_log;
    std::string m_lastNews;
    /// Why a run that went on is not kept any longer.
    std::string m_failure;
    bool m_isRunning = false;
};

} // namespace tracewell
