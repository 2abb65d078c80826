// SPDX-License-Identifier: BSD-3-Clause

#include "EndWatch.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <pthread.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGABRT};
/// A file is long closed by then, unless the thread that aborts is one that closing waits for.
constexpr int kLongestWaitMs = 30000;

// What a signal handler tells the thread, and the thread the handler of SIGABRT.
std::atomic<int> s_signal{0};
std::atomic<std::thread::id> s_ender{};
std::atomic<bool> s_isClosed{false};
sem_t s_wake;

std::atomic<EndWatch::Close> s_close{nullptr};
/// A process that was forked off has no thread.
std::atomic<pid_t> s_process{0};
std::atomic<std::thread::id> s_thread{};

void onSignal(int signal)
{
    if (::getpid() != s_process || std::this_thread::get_id() == s_thread.load()) {
        ::raise(signal);
        return;
    }
    const int error = errno;
    s_signal = signal;
    s_ender = signal == SIGABRT ? std::this_thread::get_id() : std::thread::id();
    ::sem_post(&s_wake);
    for (int ms = 0; signal == SIGABRT && !s_isClosed && ms < kLongestWaitMs; ++ms) {
        constexpr timespec kMillisecond{0, 1000000};
        ::nanosleep(&kMillisecond, nullptr);
    }
    if (signal == SIGABRT) {
        // Nobody else does when it came from outside.
        ::raise(signal);
    }
    errno = error;
}

void waitForSignals()
{
    for (;;) {
        while (::sem_wait(&s_wake) != 0) {
        }
        s_close.load()(s_ender.load());
        s_isClosed = true;
        if (s_signal != SIGABRT) {
            ::kill(::getpid(), s_signal);
        }
    }
}

void closeAtExit()
{
    s_close.load()(std::this_thread::get_id());
}

/// With all signals blocked, so that handlers run on other threads.
void startThread()
{
    ::sem_init(&s_wake, 0, 0);
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(&waitForSignals);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    s_thread = thread.get_id();
    thread.detach();
}

/// Changes the disposition of the signals that have this one.
void replace(void (*present)(int), void (*next)(int))
{
    for (const int signal : kSignals) {
        struct sigaction action
        {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == present) {
            action.sa_handler = next;
            // A second one acts at once.
            action.sa_flags = next == SIG_DFL ? 0 : static_cast<int>(SA_RESETHAND | SA_RESTART);
            ::sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace

void EndWatch::begin(Close close)
{
    s_close = close;
    // Each time: what closing needs must be destroyed after it, so it was made before.
    std::atexit(&closeAtExit);
    if (s_process != ::getpid()) {
        try {
            startThread();
        } catch (const std::system_error&) {
            // Signals act as they would have then.
            return;
        }
        s_process = ::getpid();
    }
    replace(SIG_DFL, &onSignal);
}

void EndWatch::end()
{
    replace(&onSignal, SIG_DFL);
}

} // namespace tracewell
