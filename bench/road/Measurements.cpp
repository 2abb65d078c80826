// SPDX-License-Identifier: BSD-3-Clause

#include "Measurements.h"

#include "Process.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tracewell::bench {

void Measurements::add(const std::string& name, const std::vector<std::string>& command,
                       bool pinned)
{
    m_tasks.push_back({name, command, pinned});
}

void Measurements::run()
{
    for (int run = 1; run <= m_options.runs; ++run) {
        for (const Task& task : m_tasks) {
            if (::isatty(STDERR_FILENO)) {
                std::fprintf(stderr, "run %d of %d: %-40s\r", run, m_options.runs,
                             task.name.c_str());
            }
            ProcessResult result = runProcess(task.command, task.pinned);
            result.values["processMs"] = result.wallMs;
            result.values["processorMs"] = result.processorMs;
            result.values["processMib"] = result.peakMib;
            for (const auto& [key, value] : result.values) {
                m_samples[task.name + "/" + key].push_back(value);
            }
        }
    }
    m_tasks.clear();
}

double Measurements::median(const std::string& name) const
{
    std::vector<double> samples = m_samples.at(name);
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 != 0 ? samples[middle] : (samples[middle - 1] + samples[middle]) / 2;
}

std::string number(double value)
{
    const double size = value < 0 ? -value : value;
    char text[32];
    std::snprintf(text, sizeof text, "%.*f",
                  size >= 100  ? 0
                  : size >= 10 ? 1
                  : size >= 1  ? 2
                               : 3,
                  value);
    return text;
}

std::string ratio(double ours, double theirs)
{
    return theirs > 0 ? number(ours / theirs) : "-";
}

void printRow(const std::vector<std::string>& cells)
{
    for (const std::string& cell : cells) {
        std::printf("| %s ", cell.c_str());
    }
    std::printf("|\n");
}

void printHeader(const std::string& title, const std::vector<std::string>& cells)
{
    std::printf("\n### %s\n\n", title.c_str());
    printRow(cells);
    printRow(std::vector<std::string>(cells.size(), "---"));
}

} // namespace tracewell::bench
