// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tracewell {

/// An option or a positional argument of a command, as --help has it.
struct PageOption
{
    /// "-o" and "--output"; empty for a positional argument.
    std::vector<std::string> names;
    /// What stands for its value, or the name of the argument; empty for a flag.
    std::string value;
    std::string description;
    bool isRequired = false;
    bool isRepeated = false;

    bool isPositional() const { return names.empty(); }
};

struct PageCommand
{
    std::string name;
    std::string description;
    std::vector<PageOption> options;
    /// Command lines, without their indentation.
    std::vector<std::string> examples;
    /// What stands behind them, one paragraph.
    std::string remarks;
};

/// The program itself, with a name of its own, and its commands in their order.
struct PageProgram
{
    PageCommand program;
    std::vector<PageCommand> commands;
};

PageProgram describeProgram(const CLI::App& app);

/// The text of a man page in mdoc: of a command, or of the program where `command` is null.
std::string manPage(const PageProgram& program, const PageCommand* command);

} // namespace tracewell
