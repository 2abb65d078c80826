// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "arrays/HistoryArrays.h"
#include "diff/RunComparison.h"
#include "draw/Lane.h"
#include "search/MatchFinder.h"
#include "view/ViewSource.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// A name that is none of a run's.
struct UnknownName
{
    std::string text;
};

/// What search() is asked for, as texts and numbers of the recording's timescale.
struct SearchRequest
{
    std::string expression;
    std::string on;
    bool isSampledAt = false;
    std::string follower;
    long long within = 0;
    long long atLeast = 0;
    std::string scope;
    std::vector<std::string> shown;
    long long from = 0;
    std::optional<long long> to;
    unsigned long long most = 0;
};

struct SearchAnswer
{
    NumberBuffer<long long> begins;
    /// -1 for none.
    NumberBuffer<long long> ends;
    std::vector<std::string> names;
    /// By match, one for each name; empty for none.
    std::vector<std::vector<std::string>> values;
};

struct DiffAnswer
{
    struct Entry
    {
        std::string signal;
        /// On the first run's scale.
        long long time = 0;
        std::optional<std::string> a;
        std::optional<std::string> b;
    };
    std::vector<Entry> differences;
    std::vector<std::string> onlyInA;
    std::vector<std::string> onlyInB;
};

/// A run for programs that script it: what it is read from, and its signals by name. Any thread,
/// one at a time: each operation takes the lock. A storage that fails ends no process: what was
/// asked meanwhile, and all that is asked afterwards, throws.
class OpenRun
{
public:
    /// \throws Failure, Qsim::Exception
    OpenRun(std::string path, Reach reach);
    explicit OpenRun(std::string path, std::unique_ptr<ViewSource> source);

    const std::string& path() const { return m_path; }
    TimeText timeText() const;
    long long latestTime() const;
    /// All variables, in the order of declaration. They stay until the names change, as those of
    /// a live run may.
    std::vector<Signal> signals() const;
    std::vector<std::string> names() const;
    std::size_t size() const;
    /// The place among signals() of a full name, or of one without its range that one signal alone
    /// has.
    std::optional<std::size_t> place(const std::string& name) const;
    /// The signal of a name as the command line takes it, where it is just one.
    /// \throws UnknownName
    Signal signal(const std::string& name) const;
    std::vector<Signal> select(const std::vector<std::string>& names) const;
    /// The names of its values, by letters.
    std::map<std::string, std::string> valueNames(const Signal& signal) const;

    /// The name table. It stays as long as signals() do.
    const Declarations& declarations() const;

    std::vector<HistoryArrays> histories(const std::vector<Signal>& signals, long long from,
                                         long long to) const;
    HistoryArrays history(const Signal& signal, const HistoryOrder& order) const;
    /// The entries of such a history one by one, in bounded memory, however long it is: told its
    /// number in the arrays at hand. `visit` may ask the run in turn; false from it ends this.
    void visitHistory(
        const Signal& signal, HistoryOrder order,
        const std::function<bool(const HistoryArrays& arrays, std::size_t entry)>& visit) const;
    /// What it is at a time, as a person reads it; none without a value.
    std::optional<std::string> textAt(const Signal& signal, long long time) const;
    std::optional<long long> nextChange(const Signal& signal, long long time) const;
    std::optional<long long> previousChange(const Signal& signal, long long time) const;
    std::string draw(const std::vector<std::string>& names, long long from, long long to,
                     unsigned int width) const;
    /// As so many pixels show it.
    Lane lane(const Signal& signal, long long from, long long to, unsigned int pixels) const;
    SearchAnswer search(const SearchRequest& request) const;
    DiffAnswer diff(const OpenRun& other, const std::vector<std::string>& names,
                    const std::vector<std::string>& ignored) const;
    /// What the answers so far lack, or lack not, each line once.
    std::vector<std::string> newShortfalls() const;

    /// Of a live run: goes on with it under the lock.
    ViewSource& source() { return *m_source; }
    std::mutex& mutex() { return m_mutex; }
    /// What it is read from goes: everything else throws from now on.
    void end();

private:
    template <class Ask> auto locked(const Ask& ask) const;
    void requireFile() const;
    void requireStorage() const;
    const SignalValues& valuesOf(const Signal& signal) const;

    const std::string m_path;
    Reach m_reach = Reach::Whole;
    mutable std::mutex m_mutex;
    /// Null behind end().
    std::unique_ptr<ViewSource> m_source;
    /// A simulation that runs, and no file.
    bool m_isLive = false;
    mutable unsigned int m_generation = 0;
    mutable std::vector<Signal> m_signals;
    /// By label.
    mutable std::unordered_map<std::string, std::size_t> m_places;
    /// By label without range, kSeveral where that is not one's alone; made when it is needed.
    mutable std::unordered_map<std::string, std::size_t> m_plainPlaces;
    /// Storages that had failed when it was opened.
    const unsigned int m_failuresBefore;
    /// The signal that was asked for last: a recording of events is scanned for each.
    mutable std::unique_ptr<SignalValues> m_values;
    mutable std::string m_label;
    mutable std::vector<std::string> m_told;
};

} // namespace tracewell
