#include "ChildProcess.h"

#include "../support/TestFiles.h"

#include <fcntl.h>
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
    for (std::string& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    if (::chdir(directory.c_str()) == 0)
        ::execv(arguments[0], arguments.data());
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

Outcome runProgram(const std::vector<std::string>& command, const std::string& directory)
{
    const TestDirectory scratch;
    Outcome outcome;
    for (const std::string& argument : command)
        outcome.command += argument + " ";

    const pid_t process = ::fork();
    if (process == 0) {
        redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        redirect(STDOUT_FILENO, scratch.path("out"), O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, scratch.path("err"), O_WRONLY | O_CREAT);
        ::setenv("ASAN_OPTIONS", "abort_on_error=1", 1);
        ::setenv("UBSAN_OPTIONS", "abort_on_error=1", 1);
        limit(RLIMIT_CORE, 0);
        limit(RLIMIT_CPU, kCpuSeconds);
        limit(RLIMIT_FSIZE, kFileSize);
        // A sanitizer reserves terabytes without using them; the peak below tells of those builds.
        if (!kSanitized)
            limit(RLIMIT_AS, kAddressSpace);
        ::alarm(kWallSeconds);
        execute(command, directory);
    }
    rusage usage{};
    ::wait4(process, &outcome.status, 0, &usage);
    outcome.peakKib = usage.ru_maxrss;
    outcome.out = readFile(scratch.path("out"));
    outcome.err = readFile(scratch.path("err"));
    return outcome;
}

} // namespace Tracewell
