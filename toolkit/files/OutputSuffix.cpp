// SPDX-License-Identifier: BSD-3-Clause

#include "files/OutputSuffix.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tracewell {

std::string checkSuffix(const std::string& output, const std::vector<std::string>& written)
{
    struct stat status;
    if (output == "-" || (::stat(output.c_str(), &status) == 0 && !S_ISREG(status.st_mode))) {
        return {};
    }
    std::string suffix = std::filesystem::path(output).extension().string();
    const auto change = [&](int (*function)(int)) {
        std::string text = suffix;
        std::transform(text.begin(), text.end(), text.begin(),
                       [&](unsigned char c) { return static_cast<char>(function(c)); });
        return text;
    };
    suffix = change(std::tolower);
    if (suffix.size() <= 1) {
        return {};
    }
    if (std::find(written.begin(), written.end(), suffix) != written.end()) {
        return suffix;
    }
    throw Failure(fmt::format("{}: cannot write {}; name an output that ends in {}", output,
                              change(std::toupper).substr(1), fmt::join(written, " or ")));
}

} // namespace tracewell
