// SPDX-License-Identifier: BSD-3-Clause

#include "files/OutputSuffix.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tracewell {

namespace {

/// In small letters.
std::string suffixOf(const std::string& path)
{
    std::string suffix = std::filesystem::path(path).extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return suffix;
}

} // namespace

std::string checkSuffix(const std::string& output, const std::vector<std::string>& written)
{
    struct stat status;
    if (output == "-" || (::stat(output.c_str(), &status) == 0 && !S_ISREG(status.st_mode))) {
        return {};
    }
    const std::string suffix = suffixOf(output);
    if (suffix.size() <= 1) {
        return {};
    }
    if (std::find(written.begin(), written.end(), suffix) != written.end()) {
        return suffix;
    }
    std::string format = suffix.substr(1);
    std::transform(format.begin(), format.end(), format.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    throw Failure(fmt::format("{}: cannot write {}; name an output that ends in {}", output, format,
                              fmt::join(written, " or ")));
}

void requireDatabaseName(const std::string& output)
{
    const std::string suffix = suffixOf(output);
    if (suffix == ".vcd" || suffix == ".fst" || suffix == ".ghw") {
        throw Failure(fmt::format("{}: what is made here is a wave database; name an output that "
                                  "ends in .wdb; `tracewell export` makes a VCD or an FST of it",
                                  output));
    }
}

} // namespace tracewell
