#include "files/UnfinishedFile.h"

#include "CommandError.h"

#include <fmt/format.h>

#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

UnfinishedFile::~UnfinishedFile()
{
    struct stat status;
    if (m_started && ::stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        ::unlink(m_path.c_str());
    }
}

void checkOutput(const std::string& input, const std::string& output, OutputKind kind)
{
    if (output == "-") {
        if (kind == OutputKind::RegularFile) {
            throw CommandError("the output must be a file; it cannot go to the standard output");
        }
        return;
    }
    struct stat to;
    if (::stat(output.c_str(), &to) != 0) {
        return;
    }
    if (S_ISDIR(to.st_mode) || (kind == OutputKind::RegularFile && !S_ISREG(to.st_mode))) {
        throw CommandError(fmt::format("{}: is no regular file; name one for the output", output));
    }
    struct stat from;
    const int found = input == "-" ? ::fstat(STDIN_FILENO, &from) : ::stat(input.c_str(), &from);
    if (found == 0 && from.st_dev == to.st_dev && from.st_ino == to.st_ino && S_ISREG(to.st_mode)) {
        throw CommandError(
            fmt::format("{}: is the input as well; name another file for the output", output));
    }
}

} // namespace tracewell
