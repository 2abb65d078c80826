// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace Tracewell {

/// A function that runs in a process of its own, which is killed when this goes. To be made while
/// the test has no threads.
class ForkedProcess
{
public:
    template <class Body> explicit ForkedProcess(Body body) : m_id(::fork())
    {
        if (m_id == 0) {
            ::_exit(body() ? 0 : 1);
        }
    }
    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;
    ~ForkedProcess() { kill(); }

    /// Waits for its end and gives the function's answer.
    bool succeeds()
    {
        int status = 0;
        ::waitpid(m_id, &status, 0);
        m_id = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    bool isRunning()
    {
        if (m_id > 0 && ::waitpid(m_id, nullptr, WNOHANG) == m_id) {
            m_id = -1;
        }
        return m_id > 0;
    }
    /// Returns when the process is gone.
    void kill()
    {
        if (m_id <= 0) {
            return;
        }
        ::kill(m_id, SIGKILL);
        succeeds();
    }

private:
    pid_t m_id;
};

/// One process waits until another one has come to a point.
class Signal
{
public:
    Signal() { static_cast<void>(!::pipe(m_ends)); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal()
    {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }
    void give() { static_cast<void>(!::write(m_ends[1], "", 1)); }
    void await() { static_cast<void>(!::read(m_ends[0], &m_byte, 1)); }
    /// For a process that waits to be killed.
    bool giveAndStay()
    {
        give();
        for (;;) {
            ::pause();
        }
    }

private:
    int m_ends[2] = {-1, -1};
    char m_byte = 0;
};

} // namespace Tracewell
