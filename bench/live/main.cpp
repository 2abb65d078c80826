// SPDX-License-Identifier: BSD-3-Clause

//   live_ring [RUNS] [EVENTS]
//
// What handing over a change costs the producer, in ns of its processor time: alone, beside a
// consumer in another process, and beside one while the producer computes for a while between two
// changes, as a simulation does. Medians over rounds in which all channels take turns.

#include "Channel.h"
#include "Road.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

using namespace tracewell::bench;

namespace {

constexpr std::size_t kValueBytes[] = {1, 8, 200};
constexpr int kWorkLoops = 100;

/// The processor time of the calling thread: what others do on this machine does not count, nor
/// does sleeping while a ring is full.
double nowNs()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Some hundred nanoseconds of dependent arithmetic.
unsigned long long work(unsigned long long state)
{
    for (int i = 0; i < kWorkLoops; ++i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
    }
    return state;
}

double measureAlone(const ChannelKind& kind, std::size_t valueBytes, long long changes)
{
    const auto channel = kind.make(valueBytes);
    double spent = 0;
    long long done = 0;
    // The first lap brings the memory in and is not counted.
    for (int lap = -2; done < changes; ++lap) {
        const double begin = nowNs();
        for (long long i = 0; i < channel->room(); ++i) {
            channel->put(i);
        }
        if (lap >= 0) {
            spent += nowNs() - begin;
            done += channel->room();
        }
        channel->drop();
    }
    return spent / static_cast<double>(done);
}

double run(Channel* channel, long long changes, bool withWork)
{
    unsigned long long state = 1;
    const double begin = nowNs();
    for (long long i = 0; i < changes; ++i) {
        if (withWork) {
            state = work(state);
        }
        if (channel) {
            channel->put(i);
        }
    }
    const double spent = nowNs() - begin;
    if (state == 0) {
        std::puts("");
    }
    return spent / static_cast<double>(changes);
}

double measureBeside(const ChannelKind& kind, std::size_t valueBytes, long long changes,
                     bool withWork)
{
    const auto channel = kind.make(valueBytes);
    pid_t consumer = -1;
    if (kind.hasConsumer) {
        consumer = ::fork();
        if (consumer == 0) {
            channel->consume();
            std::_Exit(0);
        }
    }
    // The consumer is up when a few rings have gone through.
    for (long long i = 0; i < 6 * channel->room(); ++i) {
        channel->put(i);
    }
    const double cost = run(channel.get(), changes, withWork);
    const double workAlone = withWork ? run(nullptr, changes / 4, true) : 0;
    if (consumer > 0) {
        ::kill(consumer, SIGKILL);
        ::waitpid(consumer, nullptr, 0);
    }
    return cost - workAlone;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 9;
    const long long events = argc > 2 ? std::atoll(argv[2]) : 20000000;
    printRoad(rounds, events);
    std::puts("");
    std::vector<ChannelKind> kinds = ownChannels();
    for (const ChannelKind& kind : peerChannels()) {
        kinds.push_back(kind);
    }

    std::printf("### Live ring, ns a change in the producer, median of %d runs\n\n"
                "| channel | value bytes | alone | beside a consumer | beside, producer works |\n"
                "| --- | ---: | ---: | ---: | ---: |\n",
                rounds);
    for (const std::size_t valueBytes : kValueBytes) {
        std::map<std::string, std::vector<double>> alone;
        std::map<std::string, std::vector<double>> beside;
        std::map<std::string, std::vector<double>> working;
        for (int round = 0; round < rounds; ++round) {
            for (const ChannelKind& kind : kinds) {
                alone[kind.name].push_back(measureAlone(kind, valueBytes, 2000000));
                beside[kind.name].push_back(measureBeside(kind, valueBytes, 4000000, false));
                working[kind.name].push_back(measureBeside(kind, valueBytes, 1000000, true));
            }
        }
        for (const ChannelKind& kind : kinds) {
            std::printf("| %s | %zu | %.1f | %.1f | %.1f |\n", kind.name.c_str(), valueBytes,
                        median(alone[kind.name]), median(beside[kind.name]),
                        median(working[kind.name]));
        }
    }
    return 0;
}
