// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "view/ViewSource.h"
#include "wave/Signal.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// Answers what a page asks of one run. Times go as text, since a number of JavaScript has 53 bits.
/// Whatever a request holds, an answer is bounded in size. On one thread.
class ViewedRun
{
public:
    using Json = nlohmann::json;

    /// `name` is what the page shows.
    ViewedRun(std::string name, std::unique_ptr<ViewSource> source);

    ViewSource& source() { return *m_source; }
    const std::string& name() const { return m_name; }

    /// Looks what has become of a run that goes on.
    /// \throws Failure
    void poll();
    /// Name, timescale, end, counts.
    Json describe();

    // Each takes a request's fields. \throws Failure, and nlohmann's exceptions for what is no such
    // request.

    /// The scopes and then the variables in a scope, from one of them on; `more` is where to go on,
    /// or 0.
    Json listScope(const Json& request);
    /// Variables that fit: a pattern, a direction, a kind.
    Json find(const Json& request);
    /// By full names: their variables, or null.
    Json resolve(const Json& request);
    /// What rows hold at a time.
    Json valuesAt(const Json& request);
    /// The next change of a row, before or behind a time.
    Json step(const Json& request);
    /// How often a row changes in a stretch; rises and falls too, for a level.
    Json countChanges(const Json& request);
    /// Where a row next has a value, by its text.
    Json findValue(const Json& request);

    /// A picture of rows as SVG.
    Json picture(const Json& request);
    /// The lanes of rows, as LaneFrame has them. `id` is the request's.
    std::string lanes(std::uint32_t id, const Json& request);

private:
    /// Rows that belong to each other, with their values.
    struct Rows
    {
        std::string key;
        std::unique_ptr<SignalValues> values;
    };

    void readNames();
    void refresh();
    Signal signalOf(const Json& row) const;
    const SignalValues& valuesOf(const Json& rows);
    const SignalValues& valuesOfRow(const Json& row) { return valuesOf(Json::array({row})); }
    Json variableJson(std::size_t variable, bool isFull) const;

    std::string m_name;
    std::unique_ptr<ViewSource> m_source;
    unsigned int m_generation = 0;
    std::vector<Signal> m_signals;
    /// By scope, the outermost at the end: what lies directly in it.
    std::vector<std::vector<std::uint32_t>> m_scopesIn;
    std::vector<std::vector<std::uint32_t>> m_variablesIn;
    /// Those that were asked for last, the latest first.
    std::vector<Rows> m_rows;
};

} // namespace tracewell
