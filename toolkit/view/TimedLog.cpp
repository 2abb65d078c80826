// SPDX-License-Identifier: BSD-3-Clause

#include "view/TimedLog.h"

#include "text/Failure.h"
#include "text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <utility>

namespace tracewell {

namespace {

constexpr const char* kUsualPattern =
    "(?:@|\\bt(?:ime)?\\s*[=:]|^\\s*\\[|^)\\s*([0-9]+(?:\\.[0-9]+)?\\s*(?:[munpfaz]?s\\b)?)";
constexpr std::size_t kLongestLine = 2000;
constexpr std::size_t kMostLines = 5'000'000;

} // namespace

TimedLog::TimedLog(const std::string& path, const std::string& pattern, const TimeText& timeText)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Failure(fmt::format("{}: this is a directory; name the log in it", path));
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(
            fmt::format("{}: cannot be opened; check the name and its permissions", path));
    }
    std::regex expression;
    try {
        expression.assign(pattern.empty() ? kUsualPattern : pattern,
                          std::regex::icase | std::regex::optimize);
    } catch (const std::regex_error&) {
        throw Failure(fmt::format("--log-pattern: \"{}\" is no regular expression", pattern));
    }
    if (expression.mark_count() < 1) {
        throw Failure(
            fmt::format("--log-pattern: \"{}\" has no group in parentheses for the time", pattern));
    }
    long long last = -1;
    std::string text;
    while (m_lines.size() < kMostLines && std::getline(file, text)) {
        text.resize(std::min(text.size(), kLongestLine));
        Line line;
        std::smatch match;
        try {
            if (std::regex_search(text, match, expression) && match[1].matched &&
                isTimeArgument(match[1].str())) {
                last = timeText.parse("the log", match[1].str(), Rounding::Down);
                line.hasTime = true;
            }
        } catch (const std::regex_error&) {
            // Too hard a line for the pattern: one without a time.
        } catch (const Failure&) {
            // A number beyond all times is none.
        }
        line.time = last;
        line.text = printable(text);
        m_lines.push_back(std::move(line));
    }
}

std::size_t TimedLog::lineAt(long long time) const
{
    // Logs go back in time now and then, so all of them are looked at.
    std::size_t best = m_lines.size();
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        if (m_lines[i].hasTime && m_lines[i].time <= time &&
            (best == m_lines.size() || m_lines[i].time >= m_lines[best].time)) {
            best = i;
        }
    }
    return best;
}

} // namespace tracewell
