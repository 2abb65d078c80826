// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <csignal>

namespace Tracewell {

/// While one exists, signals that are meant for the process are not taken by this thread. A thread
/// that is started meanwhile has them blocked for good: handlers of the program around us run on
/// threads of its own. Those that tell of a fault of the thread itself go on ending the process.
class SignalMask
{
public:
    SignalMask()
    {
        sigset_t signals;
        ::sigfillset(&signals);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            ::sigdelset(&signals, fault);
        }
        ::pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    }
    SignalMask(const SignalMask&) = delete;
    SignalMask& operator=(const SignalMask&) = delete;
    ~SignalMask() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before;
};

} // namespace Tracewell
