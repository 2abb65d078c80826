// SPDX-License-Identifier: BSD-3-Clause

#include "Process.h"

#include "Stopwatch.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace tracewell::bench {

namespace {

void pinToLastProcessor()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
        if (CPU_ISSET(cpu, &allowed)) {
            CPU_ZERO(&allowed);
            CPU_SET(cpu, &allowed);
            sched_setaffinity(0, sizeof allowed, &allowed);
            return;
        }
    }
}

double milliseconds(const timeval& time)
{
    return 1e3 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e3;
}

std::string readAll(int descriptor)
{
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(descriptor, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

ProcessResult runProcess(const std::vector<std::string>& command, bool pinned)
{
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const Stopwatch watch;
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        if (pinned) {
            pinToLastProcessor();
        }
        ::dup2(ends[1], STDOUT_FILENO);
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    const std::string text = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);

    ProcessResult result;
    result.wallMs = watch.wall() / 1e6;
    result.processorMs = milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
    result.peakMib = static_cast<double>(usage.ru_maxrss) / 1024;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::string line;
        for (const std::string& argument : command) {
            line += argument + " ";
        }
        throw std::runtime_error("failed: " + line);
    }
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) {
            result.values[line.substr(0, equals)] = std::atof(line.c_str() + equals + 1);
        }
    }
    return result;
}

} // namespace tracewell::bench
