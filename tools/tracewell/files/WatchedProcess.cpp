#include "files/WatchedProcess.h"

#include "CommandError.h"
#include "files/Interrupt.h"
#include "files/OwnFile.h"
#include "files/TimeReport.h"
#include "text/Terminal.h"

#include "QsimException.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <streambuf>
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

void writeAll(int descriptor, const char* text, std::size_t size)
{
    while (size != 0) {
        const ssize_t written = ::write(descriptor, text, size);
        if (written < 0 && errno != EINTR) {
            return;
        }
        if (written > 0) {
            text += written;
            size -= static_cast<std::size_t>(written);
        }
    }
}

/// Hands every character on at once: the process may end behind any of them.
class DescriptorBuffer : public std::streambuf
{
public:
    explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

protected:
    int_type overflow(int_type c) override
    {
        const char byte = traits_type::to_char_type(c);
        writeAll(m_descriptor, &byte, 1);
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        writeAll(m_descriptor, text, static_cast<std::size_t>(size));
        return size;
    }

private:
    int m_descriptor;
};

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
    int code = kFailed;
    try {
        work();
        TimeReport::write();
        code = kDone;
    } catch (const CommandError& e) {
        std::cerr << e.what();
    } catch (const Qsim::Exception& e) {
        std::cerr << e.what();
    } catch (const std::exception& e) {
        std::cerr << e.what();
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

/// "WDB FATAL ERROR: failed to add block for the following reason: No space left on device".
std::string reasonOf(std::string text)
{
    constexpr std::string_view kBeforeReason = "for the following reason: ";
    const std::size_t at = text.rfind(kBeforeReason);
    if (at != std::string::npos) {
        text.erase(0, at + kBeforeReason.size());
    }
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

} // namespace

WatchedEnd runWatched(const std::function<void()>& work)
{
    int ends[2];
    const pid_t parent = ::getpid();
    const bool hasPipe = makeOwnPipe(ends);
    const pid_t child = hasPipe ? ::fork() : -1;
    if (child < 0) {
        throw CommandError(fmt::format("cannot start a process of its own: {}; close others first",
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
    if (code == kFailed) {
        return {WatchedEnd::Kind::Failed, std::move(text)};
    }
    if (isTerminal(StandardStream::Error)) {
        // Its progress bar.
        std::fputs("\r\x1b[K", stderr);
    }
    if (code == kAborted) {
        return {WatchedEnd::Kind::Aborted, reasonOf(std::move(text))};
    }
    return {WatchedEnd::Kind::Killed, WIFSIGNALED(status)
                                          ? fmt::format("signal {}", WTERMSIG(status))
                                          : fmt::format("exit code {}", code)};
}

} // namespace tracewell
