// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Completion.h"

#include "changes/ChangeStream.h"
#include "commands/Usage.h"
#include "input/FileKind.h"
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
#include <initializer_list>
#include <memory>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

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

/// Sorted, each once.
using Names = std::vector<std::string>;

bool isRange(std::string_view text)
{
    return text.find(':') != std::string_view::npos && text.back() == ']';
}

/// The names of a recording's signals or scopes as far as they start with what was typed.
class NameSearch
{
public:
    enum class Kind {
        Signals,
        /// Signals that an expression can name; without the range of a vector.
        Operands,
        Scopes
    };
    NameSearch(Kind kind, std::string typed) : m_kind(kind), m_typed(std::move(typed)) {}

    /// Of a run in a format of others the declarations alone are read.
    void read(const std::string& path);
    Names take();

    static bool isOfName(char c);

private:
    void readTable(const Declarations& table);
    void addSignal(std::string_view name, const std::string& number);
    void addScopes(const std::string& path);
    void add(std::string_view name)
    {
        if (startsWith(name, m_typed)) {
            m_names.emplace_back(name);
        }
    }

    Kind m_kind;
    std::string m_typed;
    Names m_names;
};

bool NameSearch::isOfName(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("_.$[]").find(c) != std::string_view::npos;
}

void NameSearch::read(const std::string& path)
{
    try {
        if (!std::filesystem::is_regular_file(path)) {
            return;
        }
        if (isRun(path)) {
            readTable(ChangeStream::openRun(path, 0, true)->declarations());
        } else {
            readTable(WaveFile::open(path)->declarations());
        }
    } catch (const std::exception&) {
        // There is nobody to tell.
    } catch (const FinerTimesNeeded&) {
    }
}

void NameSearch::readTable(const Declarations& table)
{
    VariableNames variables(table);
    const NameNumbers numbers(table);
    std::string last;
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
        variables.goTo(i);
        if (m_kind != Kind::Scopes) {
            addSignal(variables.printableFull(), numbers.of(i));
        } else if (variables.printableScope() != last) {
            last = variables.printableScope();
            addScopes(last);
        }
    }
}

void NameSearch::addSignal(std::string_view name, const std::string& number)
{
    if (m_kind == Kind::Operands) {
        const std::size_t bracket = name.rfind('[');
        if (bracket != std::string_view::npos && isRange(name.substr(bracket))) {
            name = name.substr(0, bracket);
        }
        if (number.empty() && std::all_of(name.begin(), name.end(), isOfName)) {
            add(name);
        }
    } else if (startsWith(name, m_typed) || !number.empty()) {
        add(std::string(name) + number);
    }
}

void NameSearch::addScopes(const std::string& path)
{
    for (std::size_t end = path.rfind('.'); end != std::string::npos && end > 0;
         end = path.rfind('.', end - 1)) {
        add(std::string_view(path).substr(0, end));
    }
}

Names NameSearch::take()
{
    std::sort(m_names.begin(), m_names.end());
    m_names.erase(std::unique(m_names.begin(), m_names.end()), m_names.end());
    return std::move(m_names);
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
    void offerRadices(const CLI::Option& option, std::string head);
    /// Each with `suffix` behind it.
    void offerNames(NameSearch::Kind kind, const std::string& head, const std::string& suffix = {});

    const CLI::App& m_command;
    /// The word to be completed.
    std::string m_word;
    std::set<Option> m_given;
    std::vector<std::string> m_arguments;
    bool m_areOptionsOver = false;
    /// That waits for values, and how many it has.
    Option m_open = nullptr;
    std::size_t m_valuesTaken = 0;
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
        offerNames(NameSearch::Kind::Signals, head);
    } else if (value == "SCOPE") {
        offerNames(NameSearch::Kind::Scopes, head);
    } else if (value == "[SIGNAL=]RADIX") {
        offerRadices(option, head);
    } else if (value == "EXPRESSION" || value == "EVENT" || (value == "A B TIME" && index < 2)) {
        // An expression goes on behind a name; what precedes it stays.
        std::size_t start = m_word.size();
        while (start > head.size() && NameSearch::isOfName(m_word[start - 1])) {
            --start;
        }
        offerNames(NameSearch::Kind::Operands, m_word.substr(0, start));
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

void Line::offerNames(NameSearch::Kind kind, const std::string& head, const std::string& suffix)
{
    const std::string typed = m_word.substr(head.size());
    Names names;
    {
        const Patience patience;
        NameSearch search(kind, typed);
        for (std::size_t i = 0; i < m_arguments.size(); ++i) {
            const Option option = argument(i);
            if (option != nullptr && isRecording(valueOf(*option))) {
                search.read(m_arguments[i]);
            }
        }
        names = search.take();
    }
    std::string last;
    for (const std::string& name : names) {
        const std::size_t scopeEnd = name.find('.', typed.size());
        if (head.empty() && isOptionWord(name) && !m_areOptionsOver) {
            continue; // It would be taken for an option.
        }
        if (names.size() <= kMostNames || scopeEnd == std::string::npos) {
            offer(suffix.empty() ? 'w' : 'p', head + name + suffix);
        } else if (name.compare(0, scopeEnd + 1, last) != 0) {
            last = name.substr(0, scopeEnd + 1);
            offer('p', head + last);
        }
    }
}

void Line::offerRadices(const CLI::Option& option, std::string head)
{
    const std::string text = m_word.substr(head.size());
    const std::size_t equals = text.rfind('=');
    const std::size_t comma = text.rfind(',');
    if (equals == std::string::npos && !text.empty()) {
        offerNames(NameSearch::Kind::Signals, head, "=");
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
