// SPDX-License-Identifier: BSD-3-Clause

// The transition database in one process: capture, the file's size, opening and queries.

#include "DataBase.h"
#include "OutputFileNames.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <stdlib.h>

using namespace Tracewell;

namespace {

constexpr long long kTransitions = 10'000'000;
constexpr long long kStep = 10;

/// A directory with the debug data that a finished file needs; empty, so that the size of the
/// file is that of the transitions.
class Scratch
{
public:
    Scratch() : m_path((std::filesystem::temp_directory_path() / "transitions-XXXXXX").string())
    {
        if (!::mkdtemp(m_path.data())) {
            std::abort();
        }
        ZSIM::OutputFileNames::setZSimDirLocation(m_path.c_str());
        const std::filesystem::path debugFile =
            ZSIM::OutputFileNames::getDbgPathName(ZSIM::OutputFileNames::getSnapshotName(kDesign));
        std::filesystem::create_directories(debugFile.parent_path());
        std::ofstream(debugFile).flush();
    }
    ~Scratch() { std::filesystem::remove_all(m_path); }

    std::string file() const { return m_path + "/run.wdb"; }
    std::unique_ptr<DataBase> open(DataBaseMode mode) const
    {
        return std::make_unique<DataBase>(mode, nullptr, kDesign, file(), 0, 0);
    }

private:
    inline static const std::string kDesign = "design";

    std::string m_path;
};

enum class Kind { Clock, Scalar, Int64, Real };

/// The same numbers in every run.
class Random
{
public:
    std::uint32_t operator()()
    {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return static_cast<std::uint32_t>(m_state >> 32);
    }

private:
    std::uint64_t m_state = 88172645463325252ULL;
};

struct Change
{
    unsigned int id;
    long long time;
    std::uint32_t value;
};

/// `objects` of which a random seventh changes at a time; one object is a clock.
std::vector<Change> makeChanges(unsigned int objects)
{
    std::vector<Change> changes;
    changes.reserve(kTransitions);
    Random random;
    for (long long time = kStep; static_cast<long long>(changes.size()) < kTransitions;
         time += kStep) {
        if (objects == 1) {
            changes.push_back({1, time, static_cast<std::uint32_t>(time / kStep & 1)});
            continue;
        }
        for (unsigned int id = 1 + random() % 14; id <= objects; id += 1 + random() % 14) {
            changes.push_back({id, time, random()});
        }
    }
    changes.resize(kTransitions);
    return changes;
}

void add(DataBase& dataBase, Kind kind, const std::vector<Change>& changes)
{
    for (const Change& change : changes) {
        if (kind == Kind::Clock || kind == Kind::Scalar) {
            dataBase.addVlogTransitionToDB(change.id, change.time,
                                           static_cast<char>(change.value & 1));
            continue;
        }
        Value value;
        if (kind == Kind::Int64) {
            value.setInt64(change.value);
        } else {
            value.setDouble(change.value);
        }
        dataBase.addTransitionToDB(change.id, change.time, value);
    }
}

/// All changes an iteration, from an open database to a finished file on the disk.
void capture(benchmark::State& state, Kind kind, unsigned int objects)
{
    const Scratch scratch;
    const std::vector<Change> changes = makeChanges(objects);
    for (auto _ : state) {
        const auto dataBase = scratch.open(DataBaseMode::Writer);
        add(*dataBase, kind, changes);
        dataBase->saveTransitionToDisk();
    }
    const auto size = static_cast<double>(std::filesystem::file_size(scratch.file()));
    const auto count = static_cast<double>(changes.size());
    state.counters["s/transition"] = benchmark::Counter(
        count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytes/transition"] = size / count;
    state.counters["file"] = size;
}

/// A finished file of random scalars, opened by a viewer.
class Reading : public benchmark::Fixture
{
public:
    static constexpr unsigned int kObjects = 2000;
    static constexpr unsigned int kWatched = 77;

    void SetUp(const benchmark::State&) override
    {
        m_scratch = std::make_unique<Scratch>();
        const auto writer = m_scratch->open(DataBaseMode::Writer);
        const std::vector<Change> changes = makeChanges(kObjects);
        m_end = changes.back().time;
        add(*writer, Kind::Scalar, changes);
        writer->saveTransitionToDisk();
        m_viewer = m_scratch->open(DataBaseMode::Viewer);
    }
    void TearDown(const benchmark::State&) override
    {
        m_viewer.reset();
        m_scratch.reset();
    }

protected:
    std::unique_ptr<Scratch> m_scratch;
    std::unique_ptr<DataBase> m_viewer;
    long long m_end = 0;
};

BENCHMARK_DEFINE_F(Reading, open)(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(m_scratch->open(DataBaseMode::Viewer)->getLatestTime());
    }
}

BENCHMARK_DEFINE_F(Reading, point)(benchmark::State& state)
{
    Random random;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            m_viewer->getCurrentTransition(1 + random() % kObjects, random() % m_end));
    }
}

/// 1,000 pixels over the part of the run that the argument gives in thousandths.
BENCHMARK_DEFINE_F(Reading, draw)(benchmark::State& state)
{
    std::vector<Transition> out;
    const long long span = m_end * state.range(0) / 1000;
    for (auto _ : state) {
        out.clear();
        m_viewer->getTransitions(kWatched, m_end / 2 - span / 2, m_end / 2 + span / 2, span / 1000,
                                 out);
    }
    state.counters["entries"] = static_cast<double>(out.size());
}

BENCHMARK_DEFINE_F(Reading, history)(benchmark::State& state)
{
    std::vector<Transition> out;
    for (auto _ : state) {
        out.clear();
        m_viewer->getTransitions(kWatched, 0, m_end + 1, 0, out);
    }
    state.counters["entries"] = static_cast<double>(out.size());
}

BENCHMARK_CAPTURE(capture, clock, Kind::Clock, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(capture, scalars, Kind::Scalar, 2000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(capture, manyScalars, Kind::Scalar, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(capture, int64, Kind::Int64, 2000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(capture, real, Kind::Real, 2000)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(Reading, open)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(Reading, point)->Unit(benchmark::kMicrosecond);
BENCHMARK_REGISTER_F(Reading, draw)->Arg(1000)->Arg(100)->Arg(10)->Unit(benchmark::kMicrosecond);
BENCHMARK_REGISTER_F(Reading, history)->Unit(benchmark::kMicrosecond);

} // namespace
