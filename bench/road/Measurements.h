// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Comparison.h"

#include <map>
#include <string>
#include <vector>

namespace tracewell::bench {

/// Measurements by name, run in turn and kept until the medians are asked for.
class Measurements
{
public:
    explicit Measurements(const ComparisonOptions& options) : m_options(options) {}

    void add(const std::string& name, const std::vector<std::string>& command, bool pinned);
    /// Each of those added since the last time, `runs` times.
    void run();
    /// Of the number that the measurement printed, as "measurement/number".
    double median(const std::string& name) const;

private:
    struct Task
    {
        std::string name;
        std::vector<std::string> command;
        bool pinned;
    };

    const ComparisonOptions& m_options;
    std::vector<Task> m_tasks;
    std::map<std::string, std::vector<double>> m_samples;
};

/// With the three digits that matter.
std::string number(double value);
std::string ratio(double ours, double theirs);
void printRow(const std::vector<std::string>& cells);
void printHeader(const std::string& title, const std::vector<std::string>& cells);

} // namespace tracewell::bench
