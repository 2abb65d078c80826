// SPDX-License-Identifier: BSD-3-Clause

#include "view/ViewAnswers.h"

#include "changes/ChangeStream.h"
#include "diff/RunComparison.h"
#include "search/Search.h"
#include "text/Failure.h"
#include "text/Utf8.h"

#include "QsimException.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

namespace tracewell {

namespace {

using Json = ViewedRun::Json;

/// Where two runs that are both files differ.
Json differencesOf(const std::string& pathOfA, const std::string& pathOfB)
{
    const auto a = ChangeStream::openRun(pathOfA, 0, false);
    const auto b = ChangeStream::openRun(pathOfB, 0, false);
    SignalNames namesOfA(pathOfA);
    SignalNames namesOfB(pathOfB);
    namesOfA.take(a->declarations());
    namesOfB.take(b->declarations());
    const CommonTime time(a->declarations().timescale, b->declarations().timescale);
    const SignalPairs pairs = pairSignals(namesOfA, namesOfB, {}, {});
    RunComparison comparison(*a, *b, time, pairs.pairs);
    comparison.run({}, [](double) {});
    Json found = Json::array();
    constexpr std::size_t kMost = 5000;
    for (const Difference& difference : comparison.differences()) {
        if (found.size() == kMost) {
            break;
        }
        found.push_back({{"name", pairs.pairs[difference.pair].a.label},
                         {"time", std::to_string(time.toA(difference.time))}});
    }
    return {{"differences", found},
            {"compared", pairs.pairs.size()},
            {"onlyInA", pairs.onlyInA.size()},
            {"onlyInB", pairs.onlyInB.size()}};
}

/// Where a condition is true in a run that is a file: so many matches, and so long a search, that a
/// page does not wait in vain. `through` is null where there are no more.
Json matchesOf(const std::string& path, const Json& request)
{
    constexpr std::size_t kMost = 20000;
    constexpr std::chrono::seconds kLongest(3);
    const auto changes = ChangeStream::openRun(path, 0, false);
    SignalNames names(path);
    names.take(changes->declarations());
    SearchOrder order;
    order.expression = {request.at("expression").get<std::string>(), "condition"};
    if (const auto on = request.value("on", std::string()); !on.empty()) {
        order.on = ExpressionText{on, "event"};
    }
    Search search(*changes, names, std::move(order));
    Json begins = Json::array();
    Json ends = Json::array();
    Json through;
    const auto deadline = std::chrono::steady_clock::now() + kLongest;
    search.run(
        [&](const SearchMatch& match) {
            if (begins.size() == kMost) {
                through = std::to_string(match.begin - 1);
                return false;
            }
            begins.push_back(std::to_string(match.begin));
            ends.push_back(match.end ? Json(std::to_string(*match.end)) : Json());
            return true;
        },
        [&](double, long long time) {
            const bool isOver = std::chrono::steady_clock::now() > deadline;
            through = isOver ? Json(std::to_string(time)) : through;
            return !isOver;
        });
    return {{"begins", begins}, {"ends", ends}, {"through", through}};
}

} // namespace

ViewAnswers::ViewAnswers(std::vector<std::unique_ptr<ViewedRun>> runs, SessionFile session,
                         std::unique_ptr<TimedLog> log)
    : m_runs(std::move(runs)), m_session(std::move(session)), m_log(std::move(log))
{
    m_isRunning = std::any_of(m_runs.begin(), m_runs.end(), [](const auto& run) {
        return run->source().isRunning() || run->source().isWaiting();
    });
}

std::string ViewAnswers::placeOf(const std::string& request)
{
    // A cheap look is enough: whoever writes it otherwise is answered each time.
    constexpr std::string_view kStart = "{\"ask\":\"lanes\",\"place\":\"";
    if (request.rfind(kStart, 0) != 0) {
        return {};
    }
    const std::size_t end = request.find('"', kStart.size());
    return end == std::string::npos ? std::string()
                                    : request.substr(kStart.size(), end - kStart.size());
}

std::string ViewAnswers::answer(const std::string& request, bool& isText)
{
    isText = true;
    Json id;
    std::string why;
    try {
        const Json asked = Json::parse(request);
        id = asked.at("id");
        if (asked.at("ask") == "lanes") {
            isText = false;
            return m_runs.at(asked.value("run", std::size_t{0}))
                ->lanes(id.get<std::uint32_t>(), asked);
        }
        Json json = answerJson(asked);
        json["id"] = id;
        return json.dump();
    } catch (const Failure& e) {
        why = e.what();
    } catch (const Qsim::Exception& e) {
        why = e.getMessage();
    } catch (const std::bad_alloc&) {
        why = "the memory does not suffice; show fewer signals";
    } catch (const std::exception&) {
        why = "no such request";
    }
    isText = true;
    return Json{{"id", id}, {"error", printable(why)}}.dump();
}

ViewAnswers::Json ViewAnswers::answerJson(const Json& request)
{
    const std::string& ask = request.at("ask").get_ref<const std::string&>();
    if (ask == "hello") {
        return greet();
    }
    if (ask == "save") {
        return save(request);
    }
    if (ask == "log") {
        return readLog(request);
    }
    if (ask == "differences") {
        return compare(request);
    }
    ViewedRun& run = *m_runs.at(request.value("run", std::size_t{0}));
    if (ask == "matches") {
        if (run.source().isRunning() || run.source().isWaiting()) {
            throw Failure("a simulation that runs is not searched; view its recording");
        }
        return matchesOf(run.name(), request);
    }
    if (ask == "scope") {
        return run.listScope(request);
    }
    if (ask == "find") {
        return run.find(request);
    }
    if (ask == "resolve") {
        return run.resolve(request);
    }
    if (ask == "values") {
        return run.valuesAt(request);
    }
    if (ask == "step") {
        return run.step(request);
    }
    if (ask == "count") {
        return run.countChanges(request);
    }
    if (ask == "svg") {
        return run.picture(request);
    }
    if (ask == "findValue") {
        return run.findValue(request);
    }
    throw Failure("no such request");
}

ViewAnswers::Json ViewAnswers::greet()
{
    Json runs = Json::array();
    for (const std::unique_ptr<ViewedRun>& run : m_runs) {
        runs.push_back(run->describe());
    }
    Json json = {{"runs", runs},
                 {"keeps", m_session.isNamed()},
                 {"logLines", m_log ? m_log->lines().size() : 0}};
    if (m_session.isNamed()) {
        try {
            json["session"] = m_session.read();
        } catch (const Failure&) {
            // It has been put in its place since; what is saved next tells.
            json["session"] = Json();
        }
    }
    return json;
}

ViewAnswers::Json ViewAnswers::compare(const Json&)
{
    if (m_runs.size() < 2) {
        throw Failure("there is one run; start with --with for another");
    }
    return differencesOf(m_runs[0]->name(), m_runs[1]->name());
}

ViewAnswers::Json ViewAnswers::save(const Json& request) const
{
    if (!m_session.isNamed()) {
        throw Failure("no file for it was named; start with --session FILE");
    }
    m_session.write(request.at("session"));
    return {{"saved", printable(m_session.path())}};
}

/// Some lines from one on, or the number of the line that belongs to a time.
ViewAnswers::Json ViewAnswers::readLog(const Json& request) const
{
    if (!m_log) {
        throw Failure("no log was named; start with --log FILE");
    }
    if (const auto time = request.find("time"); time != request.end()) {
        return {{"line", m_log->lineAt(std::stoll(time->get_ref<const std::string&>()))}};
    }
    constexpr std::size_t kMost = 1000;
    const std::size_t from = request.at("from").get<std::size_t>();
    Json lines = Json::array();
    for (std::size_t i = from; i < m_log->lines().size() && lines.size() < kMost; ++i) {
        const TimedLog::Line& line = m_log->lines()[i];
        lines.push_back({{"text", line.text}, {"time", std::to_string(line.time)}});
    }
    return {{"lines", lines}};
}

std::string ViewAnswers::news()
{
    if (!m_failure.empty()) {
        return {};
    }
    Json runs = Json::array();
    try {
        for (const std::unique_ptr<ViewedRun>& run : m_runs) {
            run->poll();
            runs.push_back({{"latest", std::to_string(run->source().latestTime())},
                            {"running", run->source().isRunning()},
                            {"generation", run->source().generation()}});
        }
    } catch (const Failure& e) {
        m_failure = e.what();
    } catch (const Qsim::Exception& e) {
        m_failure = e.getMessage();
    }
    if (!m_failure.empty()) {
        m_isRunning = false;
        return Json{{"failure", printable(m_failure)}}.dump();
    }
    std::string text = Json{{"news", runs}}.dump();
    if (text == m_lastNews) {
        return {};
    }
    m_lastNews = text;
    return text;
}

} // namespace tracewell
