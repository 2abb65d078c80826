// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "commands/Completion.h"
#include "commands/Usage.h"
#include "files/Output.h"
#include "files/PrivateDirectory.h"
#include "files/StandardStreams.h"
#include "files/TimeReport.h"
#include "text/Failure.h"
#include "text/Message.h"

#include "QsimException.h"

#include <CLI/CLI.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
/// What the completions of shells ask by.
constexpr const char* kComplete = "--complete";

using Words = std::vector<std::string>;

void print(const std::string& text)
{
    tracewell::Output out;
    out << text;
    out.finish();
}

[[noreturn]] void refuse(const std::string& complaint)
{
    throw tracewell::Failure(complaint, kUsage);
}

bool isOneOf(const std::string& word, std::initializer_list<const char*> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

const CLI::App& commandOf(const CLI::App& app, const std::string& word)
{
    try {
        return *app.get_subcommand(word);
    } catch (const CLI::OptionNotFound&) {
        refuse(tracewell::commandComplaint(app, word));
    }
}

/// Answers what is about the program and runs no command.
bool answerAboutProgram(const CLI::App& app, const Words& words)
{
    if (words.empty()) {
        refuse("no command is given; `tracewell --help` lists them");
    }
    const bool isHelp = isOneOf(words[0], {"help", "--help", "-h"});
    if (!isHelp && !isOneOf(words[0], {"version", "--version", "-V"})) {
        return false;
    }
    const std::size_t most = isHelp ? 2 : 1;
    if (words.size() > most) {
        refuse(fmt::format("`tracewell {}` takes no further argument {}; see `tracewell --help`",
                           words[0], tracewell::quotation(words[most])));
    }
    if (isHelp) {
        print(words.size() == 1 ? app.help() : commandOf(app, words[1]).help("tracewell"));
    } else {
        print(app.version() + "\n");
    }
    return true;
}

void runCommand(CLI::App& app, const Words& words)
{
    const CLI::App& command = commandOf(app, words[0]);
    if (const std::string complaint = tracewell::usageComplaint(app, words); !complaint.empty()) {
        refuse(complaint);
    }
    try {
        app.parse(Words(words.rbegin(), words.rend()));
    } catch (const CLI::CallForHelp&) {
        print(app.help());
    } catch (const CLI::RuntimeError&) {
        throw;
    } catch (const CLI::ParseError& e) {
        refuse(fmt::format("{}; see `tracewell {} --help`", e.what(), command.get_name()));
    }
}

int run(CLI::App& app, const Words& words)
{
    try {
        if (!words.empty() && words[0] == kComplete) {
            print(tracewell::completionsOf(app, Words(words.begin() + 1, words.end())));
            return 0;
        }
        if (!answerAboutProgram(app, words)) {
            runCommand(app, words);
        }
    } catch (const CLI::RuntimeError& e) {
        return e.get_exit_code();
    } catch (const tracewell::Failure& e) {
        tracewell::tell(e.what());
        return e.exitCode();
    } catch (const std::bad_alloc&) {
        tracewell::tell("the memory does not suffice; ask for less at a time");
        return kFailed;
    } catch (const Qsim::Exception& e) {
        tracewell::tell(e.what());
        return kFailed;
    } catch (const std::exception& e) {
        tracewell::tell(e.what());
        return kFailed;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    tracewell::prepareStandardStreams();
    tracewell::PrivateDirectory::watchStorage();
    CLI::App app;
    tracewell::describeApp(app);
    const int code = run(app, Words(argv + 1, argv + std::max(argc, 1)));
    tracewell::TimeReport::write();
    return code;
}
