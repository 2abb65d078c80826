// SPDX-License-Identifier: BSD-3-Clause

#include "Pages.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace tracewell {

namespace {

PageOption describeOption(const CLI::Option& option)
{
    PageOption page;
    for (const std::string& name : option.get_snames()) {
        page.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        page.names.push_back("--" + name);
    }
    page.description = option.get_description();
    page.isRequired = option.get_required();
    page.isRepeated = option.get_items_expected_max() > option.get_type_size_max();
    if (option.get_positional()) {
        page.names.clear();
        page.value = option.get_name(true);
    } else if (option.get_items_expected_max() > 0) {
        page.value = option.get_type_name();
    }
    return page;
}

/// The footer has examples, indented, and text.
void takeFooter(PageCommand& page, const std::string& footer)
{
    std::istringstream lines(footer);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("Example", 0) == 0) {
            continue;
        }
        if (line.rfind("  ", 0) == 0) {
            page.examples.push_back(line.substr(2));
        } else {
            page.remarks += (page.remarks.empty() ? "" : " ") + line;
        }
    }
}

PageCommand describeCommand(const CLI::App& app)
{
    PageCommand page;
    page.name = app.get_name();
    page.description = app.get_description();
    for (const CLI::Option* const option : app.get_options()) {
        page.options.push_back(describeOption(*option));
    }
    takeFooter(page, app.get_footer());
    return page;
}

} // namespace

PageProgram describeProgram(const CLI::App& app)
{
    PageProgram program{describeCommand(app), {}};
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        program.commands.push_back(describeCommand(*command));
    }
    return program;
}

} // namespace tracewell
