// SPDX-License-Identifier: BSD-3-Clause

#include "runs/OpenRun.h"

#include "changes/ChangeStream.h"
#include "diff/SignalPairs.h"
#include "draw/Picture.h"
#include "files/ProcessGuest.h"
#include "files/StorageWatch.h"
#include "files/WatchedProcess.h"
#include "search/Search.h"
#include "text/Failure.h"
#include "wave/ObservedValue.h"
#include "wave/SignalSelection.h"
#include "wave/ValueText.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <limits>
#include <utility>

namespace tracewell {

namespace {

/// Opening makes temporary recordings, one at a time.
std::mutex& openingMutex()
{
    static std::mutex mutex;
    return mutex;
}

/// A label without range of several signals.
constexpr std::size_t kSeveral = static_cast<std::size_t>(-1);

/// What storages have failed in this process, of whatever file: no line tells which.
struct StorageFailures
{
    std::atomic<unsigned int> count{0};
    std::mutex mutex;
    /// The latest. Guarded by the mutex.
    std::string line;
};

/// From the first call on they are counted.
StorageFailures& storageFailures()
{
    static StorageFailures failures;
    static const auto* const watch = new StorageWatch([](const std::string& line) {
        const std::lock_guard lock(failures.mutex);
        failures.line = line;
        ++failures.count;
    });
    static_cast<void>(watch);
    return failures;
}

std::unique_ptr<ViewSource> openFile(const std::string& path, Reach reach)
{
    becomeGuest();
    const std::lock_guard lock(openingMutex());
    return std::make_unique<FileSource>(path, reach);
}

/// Calls `work` with decimals for the times of both runs, until these suffice.
template <class Work> void withDigits(const std::string& a, const Work& work)
{
    int digitsOfA = 0;
    int digitsOfB = 0;
    for (;;) {
        try {
            work(digitsOfA, digitsOfB);
            return;
        } catch (const FinerTimesNeeded& needed) {
            (needed.path == a ? digitsOfA : digitsOfB) = needed.fractionDigits;
        }
    }
}

} // namespace

OpenRun::OpenRun(std::string path, Reach reach)
    : m_path(std::move(path)), m_reach(reach), m_failuresBefore(storageFailures().count)
{
    m_source = openFile(m_path, reach);
    requireStorage();
}

OpenRun::OpenRun(std::string path, std::unique_ptr<ViewSource> source)
    : m_path(std::move(path)), m_source(std::move(source)), m_isLive(true),
      m_failuresBefore(storageFailures().count)
{}

/// What a broken storage answers is not what the run is.
void OpenRun::requireStorage() const
{
    StorageFailures& failures = storageFailures();
    if (failures.count != m_failuresBefore) {
        const std::lock_guard lock(failures.mutex);
        throw Failure(fmt::format("{}: a file of this process failed, and may be the run's or a "
                                  "temporary one of its: {}; open the run again",
                                  m_path, storageReason(failures.line)));
    }
}

void OpenRun::end()
{
    const std::lock_guard lock(m_mutex);
    m_values.reset();
    m_source.reset();
}

void OpenRun::requireFile() const
{
    if (m_isLive) {
        throw Failure(fmt::format("{}: a simulation that runs is neither searched nor compared; "
                                  "open its recording",
                                  m_path));
    }
}

/// With the signals of the run that is there now.
template <class Ask> auto OpenRun::locked(const Ask& ask) const
{
    const std::lock_guard lock(m_mutex);
    if (m_source == nullptr) {
        throw Failure(fmt::format("{}: the run is closed", m_path));
    }
    if (m_signals.empty() || m_generation != m_source->generation()) {
        m_generation = m_source->generation();
        m_values.reset();
        m_places.clear();
        m_signals = allSignals(m_source->names());
        for (std::size_t i = 0; i < m_signals.size(); ++i) {
            m_places.emplace(m_signals[i].label, i);
        }
        m_plainPlaces.clear();
    }
    requireStorage();
    auto answer = ask();
    requireStorage();
    return answer;
}

std::optional<std::size_t> OpenRun::place(const std::string& name) const
{
    return locked([&]() -> std::optional<std::size_t> {
        if (const auto found = m_places.find(name); found != m_places.end()) {
            return found->second;
        }
        if (m_plainPlaces.empty()) {
            const std::vector<Variable>& variables = m_source->names().declarations().variables;
            for (std::size_t i = 0; i < m_signals.size(); ++i) {
                const std::string& label = m_signals[i].label;
                const std::string& range = variables[i].range;
                const std::size_t end = label.rfind(range);
                // Behind the range of one that shares its name stands its number.
                if (!range.empty() && end != std::string::npos) {
                    const auto [at, isNew] = m_plainPlaces.emplace(label.substr(0, end), i);
                    at->second = isNew ? i : kSeveral;
                }
            }
        }
        const auto found = m_plainPlaces.find(name);
        return found != m_plainPlaces.end() && found->second != kSeveral
                   ? std::optional(found->second)
                   : std::nullopt;
    });
}

const Declarations& OpenRun::declarations() const
{
    return *locked([&] { return &m_source->names().declarations(); });
}

TimeText OpenRun::timeText() const
{
    return locked([&] { return m_source->names().timeText(); });
}

long long OpenRun::latestTime() const
{
    return locked([&] { return m_source->latestTime(); });
}

std::vector<Signal> OpenRun::signals() const
{
    return locked([&] { return m_signals; });
}

std::vector<std::string> OpenRun::names() const
{
    return locked([&] {
        std::vector<std::string> names;
        names.reserve(m_signals.size());
        for (const Signal& signal : m_signals) {
            names.push_back(signal.label);
        }
        return names;
    });
}

std::size_t OpenRun::size() const
{
    return locked([&] { return m_signals.size(); });
}

Signal OpenRun::signal(const std::string& name) const
{
    return locked([&] {
        if (const auto place = m_places.find(name); place != m_places.end()) {
            return m_signals[place->second];
        }
        std::vector<Signal> found;
        try {
            found = selectSignals(m_source->names(), {name});
        } catch (const Failure& e) {
            throw UnknownName{e.what()};
        }
        if (found.size() > 1) {
            throw UnknownName{fmt::format("{}: {} signals go by {}, from {} on; name one, or ask "
                                          "find() for all",
                                          m_path, found.size(), name, found[0].label)};
        }
        return found[0];
    });
}

std::vector<Signal> OpenRun::select(const std::vector<std::string>& names) const
{
    return locked([&] {
        try {
            return selectSignals(m_source->names(), names);
        } catch (const Failure& e) {
            throw UnknownName{e.what()};
        }
    });
}

std::map<std::string, std::string> OpenRun::valueNames(const Signal& signal) const
{
    return locked([&] {
        std::map<std::string, std::string> names;
        if (signal.enumeration != nullptr) {
            for (const auto& [letters, name] : signal.enumeration->names) {
                names.emplace(ValueText::widen(letters, signal.width), name);
            }
        }
        return names;
    });
}

/// The lock is held.
const SignalValues& OpenRun::valuesOf(const Signal& signal) const
{
    if (m_values == nullptr || m_label != signal.label) {
        m_values.reset();
        m_values = m_source->values({signal});
        m_label = signal.label;
    }
    return *m_values;
}

std::vector<HistoryArrays> OpenRun::histories(const std::vector<Signal>& signals, long long from,
                                              long long to) const
{
    return locked([&] {
        std::vector<HistoryArrays> arrays;
        const bool isOne = signals.size() == 1;
        std::unique_ptr<SignalValues> own;
        if (!isOne && !signals.empty()) {
            own = m_source->values(signals);
        }
        const long long end = std::min(to, m_source->latestTime());
        m_source->whileSteady([&] {
            for (std::size_t i = 0; i < signals.size(); ++i) {
                const SignalValues& values = isOne ? valuesOf(signals[0]) : *own;
                arrays.push_back(readHistory(values, i, {from, end}));
            }
        });
        return arrays;
    });
}

HistoryArrays OpenRun::history(const Signal& signal, const HistoryOrder& order) const
{
    return locked([&] {
        HistoryArrays arrays;
        HistoryOrder shown = order;
        shown.to = std::min(order.to, m_source->latestTime());
        m_source->whileSteady([&] { arrays = readHistory(valuesOf(signal), 0, shown); });
        return arrays;
    });
}

void OpenRun::visitHistory(
    const Signal& signal, HistoryOrder order,
    const std::function<bool(const HistoryArrays& arrays, std::size_t entry)>& visit) const
{
    /// What a piece of it takes in memory.
    constexpr std::size_t kPieceBytes = 4u << 20;
    constexpr std::size_t kFewest = 2;
    const std::size_t words = (std::size_t{signal.width} + 63) / 64;
    order.mostTextBytes = kPieceBytes;
    order.most = std::max(kFewest, kPieceBytes / (sizeof(long long) * (1 + 2 * words)));
    HistoryArrays before;
    for (;;) {
        HistoryArrays piece = history(signal, order);
        // What holds where a piece begins was told at the end of the one before.
        const bool isRepeated =
            before.size() > 0 && piece.size() > 0 && piece.kind != HistoryArrays::Kind::Event &&
            piece.times.data()[0] == order.from && piece.isSame(0, before, before.size() - 1);
        for (std::size_t i = isRepeated ? 1 : 0; i < piece.size(); ++i) {
            if (!visit(piece, i)) {
                return;
            }
        }
        if (!piece.isCut || piece.times.back() >= order.to) {
            return;
        }
        order.from = piece.times.back() + 1;
        before = std::move(piece);
    }
}

std::optional<std::string> OpenRun::textAt(const Signal& signal, long long time) const
{
    return locked([&] {
        std::optional<std::string> text;
        m_source->whileSteady([&] {
            const SignalValues& values = valuesOf(signal);
            const ValueText valueText([&](long long id) { return values.lookUp(id); });
            const auto cursor = values.cursor(0, {time, time, 0});
            while (cursor->next()) {
                if (cursor->state().kind == SignalState::Kind::Value) {
                    text = valueText.format(signal, cursor->state());
                }
            }
        });
        return text;
    });
}

std::optional<long long> OpenRun::nextChange(const Signal& signal, long long time) const
{
    return locked([&] {
        std::optional<long long> found;
        m_source->whileSteady([&] { found = valuesOf(signal).nextChange(0, time); });
        return found;
    });
}

std::optional<long long> OpenRun::previousChange(const Signal& signal, long long time) const
{
    return locked([&] {
        std::optional<long long> found;
        m_source->whileSteady([&] { found = valuesOf(signal).previousChange(0, time); });
        return found;
    });
}

std::string OpenRun::draw(const std::vector<std::string>& names, long long from, long long to,
                          unsigned int width) const
{
    const std::vector<Signal> signals = names.empty() ? this->signals() : select(names);
    return locked([&] {
        Picture picture;
        picture.title = std::filesystem::path(m_path).filename().string();
        picture.timeText = m_source->names().timeText();
        picture.window.from = from;
        picture.window.to = std::max(to, from + 1);
        const auto values = m_source->values(signals);
        std::string svg;
        m_source->whileSteady([&] {
            fillLanes(picture, *values, m_source->latestTime(), svgWaveWidth(signals, width),
                      kSvgShortestText);
            svg = drawSvg(picture, width);
        });
        return svg;
    });
}

Lane OpenRun::lane(const Signal& signal, long long from, long long to, unsigned int pixels) const
{
    return locked([&] {
        constexpr long long kShortestText = 12;
        TimeWindow window{from, to, (to - from) / pixels};
        Lane lane;
        m_source->whileSteady([&] {
            const SignalValues& values = valuesOf(signal);
            const ValueText valueText([&](long long id) { return values.lookUp(id); });
            lane = makeLane(values, 0, window, m_source->latestTime(),
                            kShortestText * window.resolution, valueText);
        });
        return lane;
    });
}

SearchAnswer OpenRun::search(const SearchRequest& request) const
{
    requireFile();
    SearchAnswer answer;
    withDigits(m_path, [&](int digits, int /*none*/) {
        answer = {};
        const auto changes = ChangeStream::openRun(m_path, digits, false, m_reach);
        SignalNames names(m_path);
        names.take(changes->declarations());
        SearchOrder order;
        order.expression = {request.expression, "expression"};
        if (!request.on.empty()) {
            order.on = ExpressionText{request.on, "on"};
        }
        if (!request.follower.empty()) {
            order.follower = ExpressionText{request.follower, "then"};
            order.within = request.within;
        }
        order.isSampledAt = request.isSampledAt;
        order.atLeast = request.atLeast;
        order.scope = request.scope;
        order.from = request.from;
        order.to = request.to.value_or(order.to);
        std::vector<Signal> shown;
        if (!request.shown.empty()) {
            shown = selectSignals(names, request.shown);
        }
        for (const Signal& signal : shown) {
            order.shown.push_back(objectOf(names, signal));
            answer.names.push_back(signal.label);
        }
        Search search(*changes, names, std::move(order));
        ObservedValueText valueText;
        search.run(
            [&](SearchMatch& match) {
                answer.begins.push(match.begin);
                answer.ends.push(match.end.value_or(-1));
                if (!shown.empty()) {
                    answer.values.emplace_back();
                }
                for (std::size_t i = 0; i < shown.size(); ++i) {
                    answer.values.back().push_back(
                        valueText
                            .format(shown[i], {match.values[i], match.values[i].empty() ? 0u : 1u})
                            .value_or(""));
                }
                return request.most == 0 || answer.begins.size() < request.most;
            },
            [](double, long long) { return true; });
    });
    answer.begins.shrink();
    answer.ends.shrink();
    return answer;
}

DiffAnswer OpenRun::diff(const OpenRun& other, const std::vector<std::string>& names,
                         const std::vector<std::string>& ignored) const
{
    requireFile();
    other.requireFile();
    DiffAnswer answer;
    withDigits(m_path, [&](int digitsOfA, int digitsOfB) {
        answer = {};
        const auto a = ChangeStream::openRun(m_path, digitsOfA, false, m_reach);
        const auto b = ChangeStream::openRun(other.m_path, digitsOfB, false, other.m_reach);
        SignalNames namesOfA(m_path);
        SignalNames namesOfB(other.m_path);
        namesOfA.take(a->declarations());
        namesOfB.take(b->declarations());
        const CommonTime time(a->declarations().timescale, b->declarations().timescale);
        const SignalPairs pairs = pairSignals(namesOfA, namesOfB, names, ignored);
        RunComparison comparison(*a, *b, time, pairs.pairs);
        comparison.run({}, [](double) {});
        ObservedValueText valueText;
        for (const Difference& difference : comparison.differences()) {
            const SignalPair& pair = pairs.pairs[difference.pair];
            answer.differences.push_back({pair.a.label, time.toA(difference.time),
                                          valueText.format(pair.a, difference.a),
                                          valueText.format(pair.b, difference.b)});
        }
        answer.onlyInA = pairs.onlyInA;
        answer.onlyInB = pairs.onlyInB;
    });
    return answer;
}

std::vector<std::string> OpenRun::newShortfalls() const
{
    return locked([&] {
        std::vector<std::string> lines;
        for (std::string& line : m_source->shortfalls()) {
            if (std::find(m_told.begin(), m_told.end(), line) == m_told.end()) {
                m_told.push_back(line);
                lines.push_back(std::move(line));
            }
        }
        return lines;
    });
}

} // namespace tracewell
