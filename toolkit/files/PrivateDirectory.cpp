// SPDX-License-Identifier: BSD-3-Clause

#include "files/PrivateDirectory.h"

#include "files/Terminal.h"
#include "files/WatchedProcess.h"
#include "text/Message.h"

#include "StorageFailure.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace tracewell {

namespace fs = std::filesystem;

std::string PrivateDirectory::s_path;

PrivateDirectory::PrivateDirectory()
{
    s_path = makePrivateDirectory();
}

void PrivateDirectory::remove()
{
    std::error_code ignored;
    fs::remove_all(s_path, ignored);
    s_path.clear();
}

void PrivateDirectory::watchStorage()
{
    Tracewell::setStorageFailureHandler([](const std::string& line) {
        const std::string place = s_path.empty() ? temporaryDirectory() : s_path;
        tell(fmt::format("{}: a temporary file there cannot be written, or the recording not "
                         "be read: {}; make room there, or set TMPDIR to another place",
                         place, storageReason(line)));
        remove();
        ::_exit(EXIT_FAILURE);
    });
}

} // namespace tracewell
