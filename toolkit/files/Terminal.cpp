// SPDX-License-Identifier: BSD-3-Clause

#include "files/Terminal.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/ioctl.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// All 0 where there is no terminal.
winsize outputSize()
{
    winsize size{};
    if (!isTerminal(StandardStream::Output) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) {
        size = {};
    }
    return size;
}

} // namespace

bool isTerminal(StandardStream stream)
{
    return isatty(static_cast<int>(stream)) == 1;
}

unsigned int terminalColumns(unsigned int fallback)
{
    const winsize size = outputSize();
    return size.ws_col > 0 ? size.ws_col : fallback;
}

unsigned int terminalRows(unsigned int fallback)
{
    const winsize size = outputSize();
    return size.ws_row > 0 ? size.ws_row : fallback;
}

std::string temporaryDirectory()
{
    std::error_code error;
    const std::filesystem::path place = std::filesystem::temp_directory_path(error);
    if (!error) {
        return place.string();
    }
    // What is named and is not there is told by who cannot make a file in it.
    const char* const named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

std::string makePrivateDirectory()
{
    const std::filesystem::path place = temporaryDirectory();
    std::string name = (place / "tracewell-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw Failure(fmt::format("{}: cannot make a temporary directory: {}; set TMPDIR to a "
                                  "place that can be written to",
                                  place.string(), std::strerror(errno)));
    }
    return name;
}

} // namespace tracewell
