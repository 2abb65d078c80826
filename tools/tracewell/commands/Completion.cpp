// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Completion.h"

#include "changes/ChangeStream.h"
#include "input/FileKind.h"
#include "text/Utf8.h"
#include "wave/VariableNames.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <thread>

namespace tracewell {

namespace {

/// A person waits for it.
constexpr std::chrono::seconds kMostWait{2};
/// Beyond so many names, those of the scopes stand for them.
constexpr std::size_t kMostNames = 500;

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// As the command line is read: "-" and "-5" are arguments.
bool isOptionWord(const std::string& word)
{
    return word.size() > 1 && word[0] == '-' &&
           std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

/// An argument's name, or what stands for an option's value.
std::string valueOf(const CLI::Option& option)
{
    return option.get_positional()               ? option.get_name(true)
           : option.get_items_expected_max() > 0 ? option.get_type_name()
                                                 : std::string();
}

bool isRecording(const std::string& value)
{
    // What `follow` makes was there before, perhaps, with the same signals.
    return isOneOf(value, {"FILE", "IN", "IN.wdb", "A", "B", "OUT.wdb"});
}

bool isFile(const std::string& value)
{
    return isRecording(value) || isOneOf(value, {"OUT", "PATH", "[SIGNAL=]FILE"});
}

/// Ends the process, quietly, where reading takes long.
class Patience
{
public:
    Patience()
    {
        std::thread([isOver = m_isOver] {
            std::this_thread::sleep_for(kMostWait);
            if (!*isOver) {
                std::_Exit(EXIT_SUCCESS);
            }
        }).detach();
    }
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;
    ~Patience() { *m_isOver = true; }

private:
    std::shared_ptr<std::atomic<bool>> m_isOver = std::make_shared<std::atomic<bool>>(false);
};

void addNames(const Declarations& table, std::set<std::string>& names,
              std::set<std::string>& scopes)
{
    VariableNames variables(table);
    const NameNumbers numbers(table);
    std::string last;
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
        variables.goTo(i);
        names.insert(std::string(variables.printableFull()) + numbers.of(i));
        if (variables.printableScope() == last) {
            continue;
        }
        last = variables.printableScope();
        for (std::size_t end = last.rfind('.'); end != std::string::npos && end > 0;
             end = last.rfind('.', end - 1)) {
            scopes.insert(last.substr(0, end));
        }
    }
}

/// Of a run in a format of others the declarations alone are read.
void readNames(const std::string& path, std::set<std::string>& names, std::set<std::string>& scopes)
{
    try {
        if (!std::filesystem::is_regular_file(path)) {
            return;
        }
        if (isRun(path)) {
            addNames(ChangeStream::openRun(path, 0, true)->declarations(), names, scopes);
        } else {
            addNames(WaveFile::open(path)->declarations(), names, scopes);
        }
    } catch (const std::exception&) {
        // There is nobody to tell.
    } catch (const FinerTimesNeeded&) {
    }
}

/// Finds what stands where in the arguments of one command.
class Line
{
public:
    Line(const CLI::App& command, const std::vector<std::string>& words);
    std::string completions();

private:
    using Option = const CLI::Option*;

    Option find(const std::string& name) const;
    Option argument(std::size_t place) const;
    void take(const std::string& word);
    void offer(char kind, const std::string& text, const std::string& description = {});

    void offerOptions();
    /// Value number `index` of an option, or an argument. What stands in front of it in the word is
    /// `head`.
    void offerValues(const CLI::Option& option, std::size_t index, const std::string& head);
    void offerSignals(const std::string& head, const std::string& suffix = {});
    void offerScopes(const std::string& head);
    void offerRadices(const CLI::Option& option, std::string head);
    void offerOperands(std::string head);
    void offerNames(const std::set<std::string>& names, const std::string& head,
                    const std::string& suffix);
    void readAll();

    const CLI::App& m_command;
    /// The word to be completed.
    std::string m_word;
    std::set<Option> m_given;
    std::vector<std::string> m_arguments;
    bool m_areOptionsOver = false;
    /// That waits for values, and how many it has.
    Option m_open = nullptr;
    std::size_t m_valuesTaken = 0;
    bool m_isRead = false;
    std::set<std::string> m_names;
    std::set<std::string> m_scopes;
    std::string m_answer;
};

Line::Line(const CLI::App& command, const std::vector<std::string>& words) : m_command(command)
{
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        take(words[i]);
    }
    m_word = words.back();
}

Line::Option Line::find(const std::string& name) const
{
    return m_command.get_option_no_throw(name);
}

Line::Option Line::argument(std::size_t place) const
{
    std::size_t end = 0;
    for (const Option option : m_command.get_options()) {
        end += option->get_positional() ? static_cast<std::size_t>(option->get_items_expected_max())
                                        : 0;
        if (option->get_positional() && place < end) {
            return option;
        }
    }
    return nullptr;
}

void Line::take(const std::string& word)
{
    if (m_open != nullptr) {
        ++m_valuesTaken;
    } else if (m_areOptionsOver || !isOptionWord(word)) {
        m_arguments.push_back(word);
    } else if (word == "--") {
        m_areOptionsOver = true;
    } else {
        const std::string name =
            word[1] == '-' ? word.substr(0, word.find('=')) : word.substr(0, 2);
        m_open = find(name);
        m_given.insert(m_open);
        m_valuesTaken = word.size() > name.size() ? 1 : 0;
    }
    if (m_open != nullptr &&
        (m_open->get_items_expected_max() == 0 ||
         m_valuesTaken >= static_cast<std::size_t>(m_open->get_type_size_max()))) {
        m_open = nullptr;
    }
}

void Line::offer(char kind, const std::string& text, const std::string& description)
{
    const bool isName = kind == 'w' || kind == 'p';
    if (!isName || startsWith(text, m_word)) {
        m_answer += std::string(1, kind) + "\t" + text +
                    (description.empty() ? "" : "\t" + description) + "\n";
    }
}

std::string Line::completions()
{
    if (m_open != nullptr) {
        offerValues(*m_open, m_valuesTaken, "");
        return m_answer;
    }
    const bool isOption = !m_areOptionsOver && m_word[0] == '-';
    if (!isOption) {
        if (const Option option = argument(m_arguments.size()); option != nullptr) {
            offerValues(*option, 0, "");
        }
        return m_answer;
    }
    const bool isLong = startsWith(m_word, "--");
    const std::size_t equals = m_word.find('=');
    const std::size_t nameEnd = isLong ? equals : m_word.size() > 2 ? 2 : std::string::npos;
    if (nameEnd == std::string::npos) {
        offerOptions();
    } else if (const Option option = find(m_word.substr(0, nameEnd)); option != nullptr) {
        offerValues(*option, 0, m_word.substr(0, nameEnd + (isLong ? 1 : 0)));
    }
    return m_answer;
}

void Line::offerOptions()
{
    for (const Option option : m_command.get_options()) {
        if (m_given.count(option) != 0 && option->get_items_expected_max() <= 1) {
            continue;
        }
        for (const std::string& name : option->get_snames()) {
            offer('w', "-" + name, option->get_description());
        }
        for (const std::string& name : option->get_lnames()) {
            offer('w', "--" + name, option->get_description());
        }
    }
}

void Line::offerValues(const CLI::Option& option, std::size_t index, const std::string& head)
{
    const std::string value = valueOf(option);
    const std::string text = m_word.substr(head.size());
    if (value == "SIGNAL" || value == "GLOB" || value == "PATTERN") {
        offerSignals(head);
    } else if (value == "SCOPE") {
        offerScopes(head);
    } else if (value == "[SIGNAL=]RADIX") {
        offerRadices(option, head);
    } else if (value == "EXPRESSION" || value == "EVENT" || (value == "A B TIME" && index < 2)) {
        offerOperands(head);
    } else if (value == "DIR") {
        offer('d', head);
    } else if (isFile(value)) {
        offer('f', head);
        // NAME=FILE of `merge`, and the file behind a signal's name.
        const bool isNamed = value == "IN" && option.get_items_expected_max() > 1;
        const std::size_t equals = value[0] == '[' ? text.rfind('=') : text.find('=');
        if ((isNamed || value[0] == '[') && equals != std::string::npos && equals > 0) {
            offer('f', head + text.substr(0, equals + 1));
        }
    } else if (value.find('|') != std::string::npos && value.find(' ') == std::string::npos) {
        for (std::size_t at = 0; at <= value.size();) {
            const std::size_t end = std::min(value.find('|', at), value.size());
            offer('w', head + value.substr(at, end - at));
            at = end + 1;
        }
    }
}

void Line::readAll()
{
    if (m_isRead) {
        return;
    }
    m_isRead = true;
    const Patience patience;
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        if (const Option option = argument(i); option != nullptr && isRecording(valueOf(*option))) {
            readNames(m_arguments[i], m_names, m_scopes);
        }
    }
}

void Line::offerNames(const std::set<std::string>& names, const std::string& head,
                      const std::string& suffix)
{
    const std::string typed = m_word.substr(head.size());
    std::vector<std::string> found;
    for (auto name = names.lower_bound(typed); name != names.end() && startsWith(*name, typed);
         ++name) {
        // It would be taken for an option.
        if (head.empty() && isOptionWord(*name) && !m_areOptionsOver) {
            continue;
        }
        found.push_back(*name);
    }
    if (found.size() <= kMostNames) {
        for (const std::string& name : found) {
            offer(suffix.empty() ? 'w' : 'p', head + name + suffix);
        }
        return;
    }
    std::set<std::string> starts;
    for (const std::string& name : found) {
        const std::size_t end = name.find('.', typed.size());
        if (end == std::string::npos) {
            offer(suffix.empty() ? 'w' : 'p', head + name + suffix);
        } else {
            starts.insert(name.substr(0, end + 1));
        }
    }
    for (const std::string& start : starts) {
        offer('p', head + start);
    }
}

void Line::offerSignals(const std::string& head, const std::string& suffix)
{
    readAll();
    offerNames(m_names, head, suffix);
}

void Line::offerScopes(const std::string& head)
{
    readAll();
    offerNames(m_scopes, head, "");
}

void Line::offerRadices(const CLI::Option& option, std::string head)
{
    const std::string text = m_word.substr(head.size());
    const std::size_t equals = text.rfind('=');
    const std::size_t comma = text.rfind(',');
    if (equals == std::string::npos && !text.empty()) {
        offerSignals(head, "=");
    }
    const std::size_t wordAt =
        comma != std::string::npos && (equals == std::string::npos || comma > equals) ? comma + 1
        : equals != std::string::npos                                                 ? equals + 1
                                                                                      : 0;
    const std::string front = text.substr(0, wordAt);
    // What the command takes of them, its own check tells.
    for (const char* const word :
         {"auto", "bin", "oct", "dec", "signed", "hex", "ascii", "analog", "analog-line"}) {
        std::string whole = front + word;
        if ((*const_cast<CLI::Option&>(option).get_validator(0))(whole).empty()) {
            offer('w', head + whole);
        }
    }
}

void Line::offerOperands(std::string head)
{
    // An expression goes on behind a name; what precedes it stays.
    constexpr std::string_view kOfNames = "_.$[]";
    const auto isOfName = [&](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               kOfNames.find(c) != std::string_view::npos;
    };
    std::size_t start = m_word.size();
    while (start > head.size() && isOfName(m_word[start - 1])) {
        --start;
    }
    readAll();
    std::set<std::string> names;
    for (const std::string& name : m_names) {
        // Without the range of a vector; a "[1]" belongs to the name.
        const std::size_t range = name.back() == ']' ? name.rfind('[') : name.size();
        const std::string plain =
            name.substr(0, name.find(':', range) == std::string::npos ? name.size() : range);
        if (std::all_of(plain.begin(), plain.end(), isOfName)) {
            names.insert(plain);
        }
    }
    offerNames(names, m_word.substr(0, start), "");
}

std::string commandsFor(const CLI::App& app, const std::string& word, bool isFirst)
{
    std::vector<std::pair<std::string, std::string>> words;
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        words.emplace_back(command->get_name(), command->get_description());
    }
    if (isFirst) {
        words.emplace_back("help", "Tell of the program, or of a command");
        words.emplace_back("version", "Tell the version of the program");
    }
    if (isFirst && word[0] == '-') {
        for (const CLI::Option* const option : app.get_options()) {
            for (const std::string& name : option->get_lnames()) {
                words.emplace_back("--" + name, option->get_description());
            }
        }
    }
    std::string answer;
    for (const auto& [text, description] : words) {
        if (startsWith(text, word)) {
            answer += "w\t" + text + "\t" + description + "\n";
        }
    }
    return answer;
}

} // namespace

std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words)
{
    if (words.empty()) {
        return {};
    }
    if (words.size() == 1 || (words.size() == 2 && words[0] == "help")) {
        return commandsFor(app, words.back(), words.size() == 1);
    }
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_name() == words[0]) {
            return Line(*command, {words.begin() + 1, words.end()}).completions();
        }
    }
    return {};
}

} // namespace tracewell
