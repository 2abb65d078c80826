#include "files/Interrupt.h"

#include "CommandError.h"

#include <csignal>

namespace tracewell {

namespace {

volatile std::sig_atomic_t s_interrupted = 0;

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

void note(int signal)
{
    s_interrupted = signal;
}

void setHandler(int signal, void (*handler)(int), int flags)
{
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(signal, nullptr, &old);
    // A signal that the parent had us ignore (nohup) stays ignored.
    if (old.sa_handler != SIG_IGN || signal == SIGPIPE) {
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

InterruptGuard::InterruptGuard()
{
    s_interrupted = 0;
    for (const int signal : kSignals) {
        setHandler(signal, &note, static_cast<int>(SA_RESETHAND));
    }
    setHandler(SIGPIPE, SIG_IGN, 0);
}

InterruptGuard::~InterruptGuard()
{
    for (const int signal : kSignals) {
        setHandler(signal, SIG_DFL, 0);
    }
    setHandler(SIGPIPE, SIG_DFL, 0);
}

void InterruptGuard::check() const
{
    if (s_interrupted != 0) {
        throw CommandError("interrupted; the unfinished output was removed");
    }
}

} // namespace tracewell
