// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"

#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tracewell {

namespace {

constexpr bool kSanitized = E2E_SANITIZED;

constexpr rlim_t kCpuSeconds = kSanitized ? 100 : 20;
constexpr unsigned int kWallSeconds = 250;
constexpr rlim_t kAddressSpace = rlim_t{2} << 30;
constexpr rlim_t kFileSize = rlim_t{256} << 20;

void limit(int resource, rlim_t value)
{
    const rlimit limits{value, value};
    ::setrlimit(static_cast<__rlimit_resource>(resource), &limits);
}

void redirect(int descriptor, const std::string& path, int flags)
{
    const int file = ::open(path.c_str(), flags, 0600);
    ::dup2(file, descriptor);
    ::close(file);
}

/// In the child: never comes back.
[[noreturn]] void execute(std::vector<std::string> command, const std::string& directory)
{
    std::vector<char*> arguments;
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    if (::chdir(directory.c_str()) == 0) {
        ::execv(arguments[0], arguments.data());
    }
    ::_exit(127);
}

} // namespace

bool Outcome::exited() const
{
    return WIFEXITED(status);
}

int Outcome::exitCode() const
{
    return exited() ? WEXITSTATUS(status) : -1;
}

std::string Outcome::describe() const
{
    return command + "\n" +
           (exited() ? "exit code " + std::to_string(exitCode())
                     : "signal " + std::to_string(WTERMSIG(status))) +
           ", peak " + std::to_string(peakKib) + " KiB\n" + err;
}

RunningProgram::RunningProgram(const std::vector<std::string>& command,
                               const std::string& directory, bool hasInput)
{
    for (const std::string& argument : command) {
        m_outcome.command += argument + " ";
    }
    int ends[2] = {-1, -1};
    if (hasInput) {
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    }
    m_process = ::fork();
    if (m_process == 0) {
        if (hasInput) {
            ::dup2(ends[0], STDIN_FILENO);
        } else {
            redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        }
        redirect(STDOUT_FILENO, m_scratch.path("out"), O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, m_scratch.path("err"), O_WRONLY | O_CREAT);
        ::setenv("ASAN_OPTIONS", "abort_on_error=1", 1);
        ::setenv("UBSAN_OPTIONS", "abort_on_error=1", 1);
        limit(RLIMIT_CORE, 0);
        limit(RLIMIT_CPU, kCpuSeconds);
        limit(RLIMIT_FSIZE, kFileSize);
        // A sanitizer reserves terabytes without using them; the peak below tells of those builds.
        if (!kSanitized) {
            limit(RLIMIT_AS, kAddressSpace);
        }
        ::alarm(kWallSeconds);
        execute(command, directory);
    }
    if (hasInput) {
        ::close(ends[0]);
        m_input = ends[1];
    }
}

RunningProgram::~RunningProgram()
{
    if (m_process > 0) {
        signal(SIGKILL);
        wait();
    }
}

void RunningProgram::write(const std::string& text)
{
    EXPECT_EQ(::write(m_input, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void RunningProgram::closeInput()
{
    if (m_input >= 0) {
        ::close(std::exchange(m_input, -1));
    }
}

bool RunningProgram::waitForOutput(const std::string& part) const
{
    return waitForPart("out", part);
}

bool RunningProgram::waitForError(const std::string& part) const
{
    return waitForPart("err", part);
}

bool RunningProgram::waitForPart(const std::string& file, const std::string& part) const
{
    constexpr int kTries = 3000;
    for (int i = 0; i < kTries; ++i) {
        const bool isLast = hasEnded();
        if (readFile(m_scratch.path(file)).find(part) != std::string::npos) {
            return true;
        }
        if (isLast) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "\"" << part << "\" did not come\n"
                  << m_outcome.command << "\n"
                  << readFile(m_scratch.path("out")) << readFile(m_scratch.path("err"));
    return false;
}

bool RunningProgram::hasEnded() const
{
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == m_process;
}

void RunningProgram::signal(int number)
{
    ::kill(m_process, number);
}

Outcome RunningProgram::wait()
{
    closeInput();
    rusage usage{};
    ::wait4(m_process, &m_outcome.status, 0, &usage);
    m_process = -1;
    m_outcome.peakKib = usage.ru_maxrss;
    m_outcome.out = readFile(m_scratch.path("out"));
    m_outcome.err = readFile(m_scratch.path("err"));
    return m_outcome;
}

Outcome runProgram(const std::vector<std::string>& command, const std::string& directory)
{
    return RunningProgram(command, directory).wait();
}

} // namespace Tracewell
