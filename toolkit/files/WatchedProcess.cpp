// SPDX-License-Identifier: BSD-3-Clause

#include "files/WatchedProcess.h"

#include "files/Interrupt.h"
#include "files/OwnFile.h"
#include "files/StandardStreams.h"
#include "files/Terminal.h"
#include "files/TimeReport.h"
#include "text/Failure.h"
#include "text/Utf8.h"

#include "QsimException.h"
#include "StorageFailure.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string_view>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tracewell {

namespace {

constexpr int kDone = 0;
/// What the library ends the process with.
constexpr int kAborted = 1;
constexpr int kFailed = 3;
constexpr int kInPart = 4;
constexpr int kWrongUsage = 5;
/// That of a Failure which says so.
constexpr int kExitOfWrongUsage = 2;

[[noreturn]] void runChild(const std::function<void()>& work, int report, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(kFailed);
    }
    // A Ctrl-C reaches both; the parent notes it for both.
    InterruptGuard::leaveToParent();
    DescriptorBuffer buffer(report);
    std::cerr.rdbuf(&buffer);
    Tracewell::setStorageFailureHandler({});
    int code = kFailed;
    try {
        work();
        TimeReport::write();
        code = kDone;
    } catch (const DoneInPart& e) {
        TimeReport::write();
        std::cerr << printable(e.what());
        code = kInPart;
    } catch (const Failure& e) {
        std::cerr << printable(e.what());
        code = e.exitCode() == kExitOfWrongUsage ? kWrongUsage : kFailed;
    } catch (const Qsim::Exception& e) {
        std::cerr << printable(e.what());
    } catch (const std::exception& e) {
        std::cerr << printable(e.what());
    }
    ::_exit(code);
}

std::string readAll(int descriptor)
{
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t got = ::read(descriptor, piece, sizeof piece);
        if (got > 0) {
            text.append(piece, static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            return text;
        }
    }
}

} // namespace

/// "WDB FATAL ERROR: failed to add block for the following reason: No space left on device".
std::string storageReason(std::string line)
{
    constexpr std::string_view kBeforeReason = "for the following reason: ";
    const std::size_t at = line.rfind(kBeforeReason);
    if (at != std::string::npos) {
        line.erase(0, at + kBeforeReason.size());
    }
    while (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return line;
}

WatchedEnd runWatched(const std::function<void()>& work)
{
    int ends[2];
    const pid_t parent = ::getpid();
    const bool hasPipe = makeOwnPipe(ends);
    const pid_t child = hasPipe ? ::fork() : -1;
    if (child < 0) {
        throw Failure(fmt::format("cannot start a process of its own: {}; close others first",
                                  std::strerror(errno)));
    }
    if (child == 0) {
        ::close(ends[0]);
        runChild(work, ends[1], parent);
    }
    TimeReport::leaveToChild();
    ::close(ends[1]);
    std::string text = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == kDone) {
        std::cerr << text << std::flush;
        return {};
    }
    if (code == kFailed || code == kInPart || code == kWrongUsage) {
        // The last line is what it ended with.
        const std::size_t told = text.rfind('\n') + 1;
        std::cerr << text.substr(0, told) << std::flush;
        return {code == kInPart ? WatchedEnd::Kind::InPart : WatchedEnd::Kind::Failed,
                text.substr(told), code == kWrongUsage ? kExitOfWrongUsage : 1};
    }
    if (isTerminal(StandardStream::Error)) {
        // Its progress bar.
        std::fputs("\r\x1b[K", stderr);
    }
    if (code == kAborted) {
        return {WatchedEnd::Kind::Aborted, storageReason(std::move(text))};
    }
    return {WatchedEnd::Kind::Killed, WIFSIGNALED(status)
                                          ? fmt::format("signal {}", WTERMSIG(status))
                                          : fmt::format("exit code {}", code)};
}

} // namespace tracewell
