// SPDX-License-Identifier: BSD-3-Clause

#include "Pages.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace tracewell {

namespace {

std::vector<std::string> wordsOf(const std::string& type)
{
    std::vector<std::string> words;
    if (type.find('|') == std::string::npos || type.find(' ') != std::string::npos) {
        return words;
    }
    std::istringstream text(type);
    for (std::string word; std::getline(text, word, '|');) {
        words.push_back(word);
    }
    return words;
}

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
        page.words = wordsOf(page.value);
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

bool PageOption::takesFile() const
{
    static const char* const kFiles[] = {"FILE",          "A",   "B",       "IN",  "OUT",
                                         "[SIGNAL=]FILE", "DIR", "OUT.wdb", "PATH"};
    return std::find(std::begin(kFiles), std::end(kFiles), value) != std::end(kFiles);
}

bool PageOption::takesSignal() const
{
    return value == "SIGNAL" || value == "GLOB" || value == "PATTERN";
}

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
