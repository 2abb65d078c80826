// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Usage.h"

#include "text/Message.h"
#include "text/NearestWord.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>

namespace tracewell {

namespace {

constexpr const char* kEndOfOptions = "--";

bool takesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

/// Before what is missing is told: an option may have taken the file that stands behind it.
std::string valueComplaint(CLI::Option& option, std::string value)
{
    const CLI::Validator* check = nullptr;
    try {
        check = option.get_validator(0);
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
    const std::string found = (*check)(value);
    return found.empty() ? found : fmt::format("{}: {}", option.get_name(), found);
}

/// Goes through the arguments of one command.
class Reading
{
public:
    explicit Reading(CLI::App& command) : m_command(command) {}
    std::string complaint(const std::vector<std::string>& words);

private:
    std::string option(const std::vector<std::string>& words, std::size_t at);
    std::string missing() const;
    std::string positionals() const;
    std::string unknown(const std::string& name) const;

    CLI::App& m_command;
    std::map<const CLI::Option*, int> m_counts;
    /// How many words behind the last option word are its values.
    std::size_t m_valuesTaken = 0;
    std::vector<std::string> m_plain;
};

std::string Reading::complaint(const std::vector<std::string>& words)
{
    bool areOptionsOver = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (areOptionsOver || !isOptionWord(word)) {
            m_plain.push_back(word);
        } else if (word == kEndOfOptions) {
            areOptionsOver = true;
        } else {
            std::string found = option(words, i);
            if (!found.empty()) {
                return found;
            }
            i += m_valuesTaken;
        }
    }
    std::string found = positionals();
    return found.empty() ? missing() : found;
}

std::string Reading::option(const std::vector<std::string>& words, std::size_t at)
{
    const std::string& word = words[at];
    m_valuesTaken = 0;
    const bool isLong = word[1] == '-';
    const std::string name = isLong ? word.substr(0, word.find('=')) : word.substr(0, 2);
    CLI::Option* const option = m_command.get_option_no_throw(name);
    if (option == nullptr) {
        return unknown(isLong ? name : word);
    }
    const bool hasValue = word.size() > name.size();
    const int count = ++m_counts[option];
    if (!takesValue(*option)) {
        return !hasValue ? std::string()
               : isLong  ? fmt::format("{} takes no value", name)
                         : unknown(word);
    }
    if (count > option->get_expected_max()) {
        return fmt::format("{} is given twice", name);
    }
    const auto values = static_cast<std::size_t>(option->get_type_size_max());
    m_valuesTaken = values - (hasValue ? 1 : 0);
    for (std::size_t i = at + 1; i <= at + m_valuesTaken; ++i) {
        if (i >= words.size() || isOptionWord(words[i])) {
            return fmt::format("{} needs {}, {}", name, values == 1 ? "a value" : "values",
                               option->get_type_name());
        }
    }
    return valueComplaint(*option,
                          hasValue ? word.substr(name.size() + (isLong ? 1 : 0)) : words[at + 1]);
}

std::string Reading::unknown(const std::string& name) const
{
    std::vector<std::string> names;
    for (const CLI::Option* const option : m_command.get_options()) {
        for (const std::string& known : option->get_lnames()) {
            names.push_back("--" + known);
        }
    }
    const std::string near = nearestWord(name, names);
    return fmt::format("`{}` has no option {}{}", m_command.get_name(), quotation(name),
                       near.empty() ? "" : " (did you mean " + near + "?)");
}

/// As many as the command takes, and needs.
std::string Reading::positionals() const
{
    std::size_t most = 0;
    for (const CLI::Option* const option : m_command.get_options()) {
        if (!option->get_positional()) {
            continue;
        }
        if (option->get_required() && m_plain.size() <= most) {
            return fmt::format("`{}` needs {}, which is missing", m_command.get_name(),
                               option->get_name(true));
        }
        most += static_cast<std::size_t>(option->get_items_expected_max());
    }
    if (m_plain.size() > most) {
        return fmt::format("`{}` takes no further argument {}", m_command.get_name(),
                           quotation(m_plain[most]));
    }
    return {};
}

std::string Reading::missing() const
{
    for (const CLI::Option* const option : m_command.get_options()) {
        const std::string name = option->get_name();
        const bool isThere = m_counts.count(option) != 0;
        if (option->get_required() && !option->get_positional() && !isThere) {
            return fmt::format("`{}` needs {}, which is missing", m_command.get_name(), name);
        }
        for (const CLI::Option* const other : option->get_needs()) {
            if (isThere && m_counts.count(other) == 0) {
                return fmt::format("{} has no meaning without {}", name, other->get_name());
            }
        }
        for (const CLI::Option* const other : option->get_excludes()) {
            if (isThere && m_counts.count(other) != 0) {
                return fmt::format("{} and {} exclude each other", other->get_name(), name);
            }
        }
    }
    return {};
}

bool asksForHelp(const std::vector<std::string>& words)
{
    const auto end = std::find(words.begin(), words.end(), kEndOfOptions);
    return std::any_of(words.begin(), end,
                       [](const std::string& word) { return word == "--help" || word == "-h"; });
}

} // namespace

bool isOptionWord(const std::string& word)
{
    return word.size() > 1 && word[0] == '-' &&
           std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

std::string usageComplaint(const CLI::App& app, const std::vector<std::string>& words)
{
    CLI::App& command = *app.get_subcommand(words.front());
    if (asksForHelp(words)) {
        return {};
    }
    const std::string complaint = Reading(command).complaint(words);
    return complaint.empty()
               ? complaint
               : fmt::format("{}; see `tracewell {} --help`", complaint, command.get_name());
}

std::string commandComplaint(const CLI::App& app, const std::string& word)
{
    std::vector<std::string> names = {"help", "version", "--help", "--version"};
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    const std::string near = nearestWord(word, names);
    return fmt::format("there is no {} {}{}; see `tracewell --help`",
                       isOptionWord(word) ? "option" : "command", quotation(word),
                       near.empty() ? "" : " (did you mean `tracewell " + near + "`?)");
}

} // namespace tracewell
