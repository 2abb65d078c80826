// SPDX-License-Identifier: BSD-3-Clause

#include "files/Interrupt.h"

#include "text/Failure.h"

#include <atomic>
#include <csignal>
#include <new>

#include <sys/mman.h>

namespace tracewell {

namespace {

/// Written by the handler; in memory that child processes share.
std::atomic<int>* s_interrupted = nullptr;
static_assert(std::atomic<int>::is_always_lock_free);

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// What SIGPIPE did before there was a guard.
void (*s_onClosedPipe)(int) = SIG_DFL;

void note(int signal)
{
    *s_interrupted = signal;
}

void setHandler(int signal, void (*handler)(int), int flags)
{
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(signal, nullptr, &old);
    // A signal that the parent had us ignore (nohup) stays ignored.
    if (old.sa_handler != SIG_IGN) {
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

InterruptGuard::InterruptGuard()
{
    if (s_interrupted == nullptr) {
        void* const shared = ::mmap(nullptr, sizeof *s_interrupted, PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) {
            throw std::bad_alloc();
        }
        s_interrupted = new (shared) std::atomic<int>(0);
    }
    *s_interrupted = 0;
    for (const int signal : kSignals) {
        setHandler(signal, &note, static_cast<int>(SA_RESETHAND));
    }
    s_onClosedPipe = std::signal(SIGPIPE, SIG_IGN);
}

InterruptGuard::~InterruptGuard()
{
    for (const int signal : kSignals) {
        setHandler(signal, SIG_DFL, 0);
    }
    std::signal(SIGPIPE, s_onClosedPipe);
}

void InterruptGuard::endByClosedPipe()
{
    if (s_onClosedPipe == SIG_DFL) {
        std::signal(SIGPIPE, SIG_DFL);
        ::raise(SIGPIPE);
    }
}

void InterruptGuard::leaveToParent()
{
    for (const int signal : kSignals) {
        setHandler(signal, SIG_IGN, 0);
    }
}

bool InterruptGuard::isInterrupted() const
{
    return *s_interrupted != 0;
}

void InterruptGuard::check() const
{
    if (isInterrupted()) {
        throw Failure(
            "interrupted; the unfinished output was removed; start again for a whole one");
    }
}

} // namespace tracewell
