// SPDX-License-Identifier: BSD-3-Clause

#include "Pages.h"

#include <algorithm>
#include <cctype>

namespace tracewell {

namespace {

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

/// Text as a line of its own, or several: no sign in it is a request.
std::string plain(const std::string& text)
{
    constexpr std::size_t kColumns = 78;
    std::string out;
    std::string line;
    const auto flush = [&] {
        if (!line.empty()) {
            out += (line[0] == '.' || line[0] == '\'' ? "\\&" : "") + line + "\n";
        }
        line.clear();
    };
    std::string word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != ' ') {
            word += text[i] == '\\' ? std::string("\\e") : std::string(1, text[i]);
            continue;
        }
        if (line.size() + word.size() + 1 > kColumns) {
            flush();
        }
        line += (line.empty() || word.empty() ? "" : " ") + word;
        // A new sentence begins a line of its own.
        if (word.size() > 2 && word.back() == '.' && i < text.size()) {
            flush();
        }
        word.clear();
    }
    flush();
    return out;
}

/// An argument of a request.
std::string quoted(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        out += c == '"' ? "\"\"" : c == '\\' ? "\\e" : std::string(1, c);
    }
    return "\"" + out + "\"";
}

std::string flagOf(const std::string& name)
{
    return "Fl " + name.substr(1);
}

std::string argumentOf(const PageOption& option)
{
    return "Ar " + quoted(option.value);
}

void putSynopsis(std::string& out, const PageCommand& command)
{
    bool hasOptions = false;
    for (const PageOption& option : command.options) {
        hasOptions = hasOptions || (!option.isPositional() && !option.isRequired);
    }
    if (hasOptions) {
        out += ".Op Ar options\n";
    }
    for (const PageOption& option : command.options) {
        const std::string dots = option.isRepeated ? " ..." : "";
        if (option.isPositional()) {
            out += (option.isRequired ? "." : ".Op ") + argumentOf(option) + dots + "\n";
        } else if (option.isRequired) {
            out += "." + flagOf(option.names.back()) + " " + argumentOf(option) + dots + "\n";
        }
    }
}

void putOptions(std::string& out, const PageCommand& command)
{
    out += ".Bl -tag -width Ds\n";
    for (const PageOption& option : command.options) {
        out += ".It ";
        if (option.isPositional()) {
            out += argumentOf(option);
        }
        for (std::size_t i = 0; i < option.names.size(); ++i) {
            out += (i > 0 ? " , " : "") + flagOf(option.names[i]);
        }
        if (!option.isPositional() && !option.value.empty()) {
            out += " " + argumentOf(option);
        }
        out += "\n" + plain(option.description + ".");
    }
    out += ".El\n";
}

void putExamples(std::string& out, const PageCommand& command)
{
    if (command.examples.empty()) {
        return;
    }
    out += ".Sh EXAMPLES\n.Bd -literal -offset indent\n";
    for (const std::string& example : command.examples) {
        std::string line;
        for (const char c : example) {
            line += c == '\\' ? std::string("\\e") : std::string(1, c);
        }
        out += line + "\n";
    }
    out += ".Ed\n";
}

std::string lowered(std::string text)
{
    // Words in capitals stay as they are.
    if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])) != 0) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    while (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    return text;
}

} // namespace

std::string manPage(const PageProgram& program, const PageCommand* command)
{
    const PageCommand& page = command == nullptr ? program.program : *command;
    const std::string name =
        command == nullptr ? program.program.name : program.program.name + "-" + page.name;
    std::string out = ".Dd " TRACEWELL_DATE "\n.Dt " + upper(name) + " 1\n.Os\n.Sh NAME\n.Nm " +
                      name + "\n.Nd " + lowered(page.description) + "\n.Sh SYNOPSIS\n.Nm " +
                      program.program.name + "\n";
    if (command == nullptr) {
        out += ".Ar command\n.Op Ar options\n.Ar ...\n";
    } else {
        out += ".Cm " + page.name + "\n";
        putSynopsis(out, page);
    }
    out +=
        ".Sh DESCRIPTION\n" + plain(page.description + (page.description.back() == '.' ? "" : "."));
    if (!page.remarks.empty()) {
        out += ".Pp\n" + plain(page.remarks);
    }
    if (command == nullptr) {
        out += ".Pp\nThe commands are\n.Bl -tag -width transitions\n";
        for (const PageCommand& each : program.commands) {
            out += ".It Cm " + each.name + "\n" + plain(each.description + ".") + "See\n.Xr " +
                   program.program.name + "-" + each.name + " 1 .\n";
        }
        out += ".It Cm help Op Ar command\nTell of the program, or of a command.\n"
               ".It Cm version\nTell the version of the program.\n.El\n";
    }
    out += command == nullptr ? ".Pp\nOptions of the program itself:\n"
                              : ".Pp\nArguments and options:\n";
    putOptions(out, page);
    out +=
        ".Sh EXIT STATUS\n" +
        plain(
            "0 when all is done, 1 when something failed or was done in part, 2 for a command line "
            "that makes no sense" +
            std::string(command == nullptr ? "; the page of a command tells what differs from that."
                        : page.remarks.find("xit code") != std::string::npos
                            ? "; what differs from that is told above."
                            : "."));
    putExamples(out, page);
    out += ".Sh SEE ALSO\n";
    std::string separator;
    if (command != nullptr) {
        out += ".Xr " + program.program.name + " 1";
        separator = " ,\n";
    }
    std::vector<std::string> others;
    for (const PageCommand& each : program.commands) {
        if (command == nullptr) {
            others.push_back(program.program.name + "-" + each.name);
        }
    }
    std::sort(others.begin(), others.end());
    for (const std::string& other : others) {
        out += separator + ".Xr " + other + " 1";
        separator = " ,\n";
    }
    return out + "\n";
}

} // namespace tracewell
