// SPDX-License-Identifier: BSD-3-Clause

// The live road as a kernel and a viewer have it, each in a process of its own: what a trace call
// costs beside a busy viewer, how fast the viewer stores, what a time mark costs, and how long it
// takes until the viewer sees what was traced. Times are medians over rounds.

#include "Road.h"

#include "WdbLiveReader.h"
#include "WdbLiveWriter.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Tracewell;

namespace tracewell::bench {

namespace {

constexpr long long kSignals = 2000;

long long now(clockid_t clock)
{
    timespec time{};
    ::clock_gettime(clock, &time);
    return time.tv_sec * 1000000000ll + time.tv_nsec;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

/// Stands for a simulation's own work, some hundred nanoseconds.
unsigned long long work(unsigned long long state)
{
    for (int i = 0; i < 100; ++i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
    }
    return state;
}

/// A kernel here and a viewer in a child process, which sends what it has measured when the kernel
/// is gone.
class Road
{
public:
    template <class Viewer> explicit Road(const std::string& directory, const Viewer& viewer)
    {
        const std::string snapshot = "bench" + std::to_string(::getpid());
        if (::pipe(m_pipe) != 0) {
            std::abort();
        }
        // Before the channel is made: a child would hold it too.
        m_viewer = ::fork();
        if (m_viewer == 0) {
            while (!WdbLiveReader::isOffered(snapshot, 0)) {
                std::this_thread::yield();
            }
            WdbLiveReader reader;
            reader.setMemFileSize(sizeof m_memory);
            reader.setSnapshot(snapshot);
            reader.createReader(directory + "/live.wdb", "live", 0, directory);
            const double answer = viewer(reader);
            const bool sent = ::write(m_pipe[1], &answer, sizeof answer) == sizeof answer;
            ::_exit(sent ? 0 : 1);
        }
        m_writer.open(IWdbWriter::kLiveMode, snapshot, "", 0);
        m_writer.setBaseDPOffset(reinterpret_cast<long long>(m_memory));
        while (!m_writer.isViewerPresent()) {
            std::this_thread::yield();
        }
        // The ring and the viewer's memory are warm when some laps have gone through.
        for (long long i = 0; i < 1000000; ++i) {
            trace(0, i);
        }
    }
    ~Road()
    {
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }

    void trace(long long time, long long i)
    {
        unsigned char value = static_cast<unsigned char>(i);
        m_trace(time, 0, 1, m_memory + i % kSignals, &value);
    }
    void mark(long long time) { m_writer.markCurrentTime(time); }
    double end()
    {
        m_writer.close();
        double answer = 0;
        if (::read(m_pipe[0], &answer, sizeof answer) != sizeof answer) {
            std::abort();
        }
        ::waitpid(m_viewer, nullptr, 0);
        return answer;
    }

private:
    WdbLiveWriter m_writer;
    IWdbWriter::TraceVhdlFunc m_trace = m_writer.getTraceVhdlFunc();
    unsigned char m_memory[kSignals] = {};
    pid_t m_viewer = -1;
    int m_pipe[2];
};

bool isOver(WdbLiveReader& reader)
{
    return !reader.isKernelPresent() && reader.isDrained();
}

/// A viewer that only stores; answers what processor time its process took.
double store(WdbLiveReader& reader)
{
    while (!isOver(reader)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return static_cast<double>(now(CLOCK_PROCESS_CPUTIME_ID));
}

/// A viewer that shows 20 signals and asks for all of them again and again.
double show(WdbLiveReader& reader)
{
    std::vector<WdbScalarBTree*> trees;
    reader.openByteTrees(0, 20, trees);
    WdbTimeByteValues values(20);
    while (!isOver(reader)) {
        reader.getValueEvent(reader.getLatestTime(), trees, values);
        std::this_thread::sleep_for(std::chrono::milliseconds(16));
    }
    return static_cast<double>(now(CLOCK_PROCESS_CPUTIME_ID));
}

/// A viewer that asks behind each mark, and answers the median delay of what it sees new.
/// Simulation time is the clock's here.
double measureDelay(WdbLiveReader& reader)
{
    std::vector<WdbScalarBTree*> trees;
    reader.openByteTrees(0, 1, trees);
    std::vector<double> delays;
    WdbTimeByteValues value(1);
    long long seen = 0;
    while (!isOver(reader)) {
        {
            boost::unique_lock<boost::mutex> lock(reader.getTimeMarkMutex());
            reader.markTime(lock);
        }
        reader.getValueEvent(now(CLOCK_MONOTONIC), trees, value);
        if (value.getTime() > seen) {
            delays.push_back(static_cast<double>(now(CLOCK_MONOTONIC) - value.getTime()));
        }
        seen = value.getTime();
    }
    return median(delays);
}

struct Costs
{
    /// Processor time of the kernel's thread and elapsed time to the last event stored, ns an
    /// event.
    double calls;
    double stored;
};

template <class Viewer>
Costs runEvents(const std::string& directory, long long events, const Viewer& viewer,
                long long eventsAMark)
{
    Road road(directory, viewer);
    const long long begin = now(CLOCK_THREAD_CPUTIME_ID);
    const long long wall = now(CLOCK_MONOTONIC);
    for (long long i = 0; i < events; ++i) {
        road.trace(i, i);
        if (i % eventsAMark == eventsAMark - 1) {
            road.mark(i);
        }
    }
    const auto spent = static_cast<double>(now(CLOCK_THREAD_CPUTIME_ID) - begin);
    road.end();
    const auto elapsed = static_cast<double>(now(CLOCK_MONOTONIC) - wall);
    return {spent / static_cast<double>(events), elapsed / static_cast<double>(events)};
}

/// Work between any two calls, and its own cost taken off.
double runWithWork(const std::string& directory, long long events, bool marks)
{
    unsigned long long state = 1;
    const long long begin = now(CLOCK_THREAD_CPUTIME_ID);
    for (long long i = 0; i < events; ++i) {
        state = work(state);
    }
    const long long workAlone = now(CLOCK_THREAD_CPUTIME_ID) - begin;

    Road road(directory, show);
    const long long beginBeside = now(CLOCK_THREAD_CPUTIME_ID);
    for (long long i = 0; i < events; ++i) {
        state = work(state);
        if (marks) {
            road.mark(i);
        } else {
            road.trace(i, i);
        }
    }
    const long long beside = now(CLOCK_THREAD_CPUTIME_ID) - beginBeside;
    road.end();
    if (state == 0) {
        std::puts("");
    }
    return static_cast<double>(beside - workAlone) / static_cast<double>(events);
}

double runDelay(const std::string& directory, bool flows)
{
    Road road(directory, measureDelay);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    unsigned long long state = 1;
    if (flows) {
        // About a million events a second, a mark behind each hundred.
        const long long end = now(CLOCK_MONOTONIC) + 1000000000ll;
        for (long long i = 0; now(CLOCK_MONOTONIC) < end; ++i) {
            for (int k = 0; k < 60; ++k) {
                state = work(state);
            }
            const long long time = now(CLOCK_MONOTONIC);
            for (long long k = 0; k < 10; ++k) {
                road.trace(time, i * 10 + k);
            }
            if (i % 10 == 9) {
                road.mark(time);
            }
        }
    } else {
        for (long long i = 0; i < 30; ++i) {
            // Not in step with the poll.
            std::this_thread::sleep_for(std::chrono::microseconds(90000 + i * 777 % 10000));
            const long long time = now(CLOCK_MONOTONIC);
            road.trace(time, i * kSignals + i % 2 * kSignals);
            road.mark(time);
        }
    }
    if (state == 0) {
        std::puts("");
    }
    return road.end();
}

} // namespace

void printRoad(int rounds, long long events)
{
    const std::string directory = std::filesystem::temp_directory_path().string() +
                                  "/tracewell-live-" + std::to_string(::getpid());
    std::filesystem::create_directories(directory);
    struct Row
    {
        const char* name;
        std::vector<double> values;
    };
    Row rows[] = {
        {"trace call, full speed, viewer stores, ns", {}},
        {"trace call, full speed, viewer shows 20 signals, ns", {}},
        {"trace call, simulation works between calls, viewer shows 20 signals, ns", {}},
        {"mark, simulation works between calls, ns", {}},
        {"stored and closed, million events a second", {}},
        {"stored and closed while 20 signals are shown, million events a second", {}},
        {"delay from trace call to answer, idle, ms", {}},
        {"delay from trace call to answer, events flow, ms", {}},
    };
    for (int round = 0; round < rounds; ++round) {
        const Costs stored = runEvents(directory, events, store, 1000);
        const Costs shown = runEvents(directory, events, show, 1000);
        const double values[] = {stored.calls,
                                 shown.calls,
                                 runWithWork(directory, events / 10, false),
                                 runWithWork(directory, events / 10, true),
                                 1000 / stored.stored,
                                 1000 / shown.stored,
                                 runDelay(directory, false) / 1e6,
                                 runDelay(directory, true) / 1e6};
        for (std::size_t i = 0; i < std::size(values); ++i) {
            rows[i].values.push_back(values[i]);
        }
    }
    std::printf("### Live road, %lld events, one value byte each, median of %d runs\n\n"
                "| | |\n| --- | ---: |\n",
                events, rounds);
    for (const Row& row : rows) {
        std::printf("| %s | %.3g |\n", row.name, median(row.values));
    }
    std::filesystem::remove_all(directory);
}

} // namespace tracewell::bench
