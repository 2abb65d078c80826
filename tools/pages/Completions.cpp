// SPDX-License-Identifier: BSD-3-Clause

#include "Pages.h"

#include <algorithm>

namespace tracewell {

namespace {

std::string joined(const std::vector<std::string>& words, const std::string& joint)
{
    std::string out;
    for (const std::string& word : words) {
        out += (out.empty() ? "" : joint) + word;
    }
    return out;
}

std::vector<std::string> namesOf(const PageCommand& command)
{
    std::vector<std::string> names;
    for (const PageOption& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

bool takesSignals(const PageCommand& command)
{
    return std::any_of(
        command.options.begin(), command.options.end(),
        [](const PageOption& option) { return option.isPositional() && option.takesSignal(); });
}

/// The first line of a description, in single quotes for a shell.
std::string shellQuoted(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return "'" + out + "'";
}

/// For zsh: within single quotes, and with its own signs escaped.
std::string zshText(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') {
            out += '\\';
        }
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out;
}

} // namespace

// Signals are asked of the file on the line: the first word behind the command that is one. A file
// that takes long to read gives none.

std::string bashCompletion(const PageProgram& program)
{
    std::string out =
        "# bash completion of tracewell\n\n"
        "_tracewell_signals() {\n"
        "    local file=$1\n"
        "    [[ -f $file ]] || return\n"
        "    timeout 2 \"${COMP_WORDS[0]}\" signals \"$file\" \"$2*\" 2>/dev/null |\n"
        "        sed -n '2,500s/ .*//p'\n"
        "}\n\n"
        "_tracewell() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
        "    local command=${COMP_WORDS[1]} options= file= word i\n"
        "    COMPREPLY=()\n"
        "    if [[ $COMP_CWORD -eq 1 ]]; then\n";
    std::vector<std::string> commands;
    for (const PageCommand& command : program.commands) {
        commands.push_back(command.name);
    }
    out += "        mapfile -t COMPREPLY < <(compgen -W '" + joined(commands, " ") +
           " help version --help --version' -- \"$current\")\n        return\n    fi\n"
           "    if [[ $command == help ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W '" +
           joined(commands, " ") +
           "' -- \"$current\")\n        return\n    fi\n"
           "    for ((i = 2; i < COMP_CWORD; ++i)); do\n"
           "        word=${COMP_WORDS[i]}\n"
           "        if [[ $word != -* && -f $word ]]; then\n"
           "            file=$word\n            break\n        fi\n    done\n"
           "    case \"$command $previous\" in\n";
    for (const PageCommand& command : program.commands) {
        for (const PageOption& option : command.options) {
            for (const std::string& name : option.names) {
                const std::string head = "    \"" + command.name + " " + name + "\")";
                if (!option.words.empty()) {
                    out += head + "\n        mapfile -t COMPREPLY < <(compgen -W '" +
                           joined(option.words, " ") + "' -- \"$current\")\n        return ;;\n";
                } else if (option.takesSignal()) {
                    out += head + "\n        mapfile -t COMPREPLY < <(_tracewell_signals \"$file\" "
                                  "\"$current\")\n        return ;;\n";
                } else if (option.takesFile()) {
                    out += head + "\n        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
                                  "        return ;;\n";
                } else if (!option.value.empty()) {
                    out += head + " return ;;\n";
                }
            }
        }
    }
    out += "    esac\n    case $command in\n";
    std::vector<std::string> withSignals;
    for (const PageCommand& command : program.commands) {
        out += "    " + command.name + ") options='" + joined(namesOf(command), " ") + "' ;;\n";
        if (takesSignals(command)) {
            withSignals.push_back(command.name);
        }
    }
    out += "    esac\n"
           "    if [[ $current == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
           "        return\n    fi\n"
           "    case $command in\n    " +
           joined(withSignals, " | ") +
           ")\n        if [[ -n $file ]]; then\n"
           "            mapfile -t COMPREPLY < <(_tracewell_signals \"$file\" \"$current\")\n"
           "        fi ;;\n    esac\n"
           "    if [[ ${#COMPREPLY[@]} -eq 0 ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n    fi\n}\n\n"
           "complete -o filenames -F _tracewell tracewell\n";
    return out;
}

std::string zshCompletion(const PageProgram& program)
{
    std::string out =
        "#compdef tracewell\n# zsh completion of tracewell\n\n"
        "_tracewell_signals() {\n"
        "    local word file\n"
        "    for word in ${words[2,-1]}; do\n"
        "        if [[ $word != -* && -f $word ]]; then\n"
        "            file=$word\n            break\n        fi\n    done\n"
        "    [[ -n $file ]] || { _files; return }\n"
        "    local -a names\n"
        "    names=(${(f)\"$(timeout 2 tracewell signals $file \"$PREFIX*\" 2>/dev/null |\n"
        "        sed -n '2,500s/ .*//p')\"})\n"
        "    compadd -a names\n"
        "}\n\n"
        "_tracewell() {\n    local -a commands\n    commands=(\n";
    for (const PageCommand& command : program.commands) {
        out += "        '" + command.name + ":" + zshText(command.description) + "'\n";
    }
    out += "    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe command commands\n        return\n    fi\n"
           "    local command=$words[2]\n"
           "    words=(\"${(@)words[2,-1]}\")\n"
           "    (( CURRENT -= 1 ))\n"
           "    case $command in\n"
           "    help) _describe command commands ;;\n";
    for (const PageCommand& command : program.commands) {
        out += "    " + command.name + ")\n        _arguments";
        std::size_t place = 0;
        for (const PageOption& option : command.options) {
            const std::string action = !option.words.empty() ? "(" + joined(option.words, " ") + ")"
                                       : option.takesSignal() ? std::string("_tracewell_signals")
                                       : option.takesFile()   ? std::string("_files")
                                                              : std::string(" ");
            const std::string value =
                option.value.empty() ? std::string() : ":" + zshText(option.value) + ":" + action;
            if (option.isPositional()) {
                ++place;
                out += " \\\n            '" +
                       (option.isRepeated ? std::string("*") : std::to_string(place)) + value + "'";
                continue;
            }
            for (const std::string& name : option.names) {
                out += " \\\n            '" + std::string(option.isRepeated ? "*" : "") + name +
                       "[" + zshText(option.description) + "]" + value + "'";
            }
        }
        out += " ;;\n";
    }
    return out + "    esac\n}\n\n_tracewell \"$@\"\n";
}

std::string fishCompletion(const PageProgram& program)
{
    std::string out =
        "# fish completion of tracewell\n\n"
        "function __tracewell_signals\n"
        "    for word in (commandline -opc)[3..-1]\n"
        "        if not string match -q -- '-*' $word; and test -f $word\n"
        "            timeout 2 tracewell signals $word (commandline -ct)'*' 2>/dev/null |\n"
        "                sed -n '2,500s/ .*//p'\n"
        "            return\n        end\n    end\nend\n\n";
    for (const PageCommand& command : program.commands) {
        out += "complete -c tracewell -n __fish_use_subcommand -f -a " + command.name + " -d " +
               shellQuoted(command.description) + "\n";
    }
    for (const PageCommand& command : program.commands) {
        const std::string head =
            "complete -c tracewell -n '__fish_seen_subcommand_from " + command.name + "'";
        for (const PageOption& option : command.options) {
            if (option.isPositional()) {
                continue;
            }
            out += head;
            for (const std::string& name : option.names) {
                out += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
            }
            if (!option.words.empty()) {
                out += " -x -a '" + joined(option.words, " ") + "'";
            } else if (option.takesSignal()) {
                out += " -x -a '(__tracewell_signals)'";
            } else if (!option.value.empty()) {
                out += option.takesFile() ? " -r" : " -x";
            }
            out += " -d " + shellQuoted(option.description) + "\n";
        }
        if (takesSignals(command)) {
            out += head + " -a '(__tracewell_signals)'\n";
        }
    }
    return out;
}

} // namespace tracewell
