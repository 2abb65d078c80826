// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/OptionValues.h"
#include "files/Output.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "view/TimedLog.h"
#include "view/ViewAnswers.h"
#include "view/ViewServer.h"
#include "view/ViewSource.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tracewell {

namespace {

struct Options
{
    std::string file;
    std::string other;
    std::string session;
    std::string log;
    std::string logPattern;
    unsigned int port = 0;
    std::string socket;
    double endAfter = -1;
    bool opensNothing = false;
    Reach reach = Reach::Whole;
};

/// Whatever the desktop opens pages by; without one nothing happens.
void openBrowser(const std::string& address)
{
    if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr &&
        std::getenv("BROWSER") == nullptr) {
        return;
    }
    // Another process than a child, so that nobody has to wait for it.
    const pid_t child = ::fork();
    if (child == 0) {
        const char* const words[] = {"xdg-open", address.c_str(), nullptr};
        pid_t browser = 0;
        ::posix_spawnp(&browser, words[0], nullptr, nullptr, const_cast<char**>(words), environ);
        ::_exit(0);
    }
    if (child > 0) {
        ::waitpid(child, nullptr, 0);
    }
}

std::unique_ptr<ViewedRun> openRun(const std::string& path, Reach reach)
{
    return std::make_unique<ViewedRun>(path, std::make_unique<FileSource>(path, reach));
}

void run(const Options& options)
{
    std::vector<std::unique_ptr<ViewedRun>> runs;
    runs.push_back(openRun(options.file, options.reach));
    if (!options.other.empty()) {
        runs.push_back(openRun(options.other, options.reach));
    }
    std::unique_ptr<TimedLog> log;
    if (!options.log.empty()) {
        log = std::make_unique<TimedLog>(options.log, options.logPattern,
                                         runs.front()->source().names().timeText());
    }
    ViewAnswers answers(std::move(runs), options.session, std::move(log));
    ViewServerOptions serving;
    serving.port = static_cast<unsigned short>(options.port);
    serving.socket = options.socket;
    serving.endAfter = options.endAfter;
    ViewServer server(serving, answers);
    {
        Output out;
        out << server.address() << "\n";
        out.finish();
    }
    if (!options.socket.empty()) {
        tell(fmt::format("{} is served; lead a port to it and open the address with that port: ssh "
                         "-L PORT:{} HOST",
                         options.file, options.socket));
    } else {
        tell(fmt::format("{} is served to the page at this address until Ctrl-C; who has the "
                         "address sees the recording",
                         options.file));
        if (!options.opensNothing) {
            openBrowser(server.address());
        }
    }
    server.run();
}

} // namespace

void addViewCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("view", "Show a recording in the browser");
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    command->add_option("--with", options->other, "Another recording, to be seen beside it")
        ->type_name("FILE");
    command
        ->add_option("--session", options->session,
                     "Where the page keeps what is shown and how; read at the start if it is there")
        ->type_name("FILE");
    command
        ->add_option("--log", options->log,
                     "A log of the simulation, to be seen beside the waves and moved with them")
        ->type_name("FILE");
    command
        ->add_option("--log-pattern", options->logPattern,
                     "A regular expression whose first group is the time in a line of the log; "
                     "\"@ 12.5ns\", \"[120]\" and \"time: 5 us\" are found without")
        ->type_name("REGEX");
    command
        ->add_option("--port", options->port,
                     "The port of 127.0.0.1 to listen at; a free one if not given")
        ->type_name("N")
        ->transform(wholeNumber(1, 65535));
    command
        ->add_option("--socket", options->socket,
                     "A socket of the file system to listen at instead, for a tunnel")
        ->type_name("PATH");
    command
        ->add_option("--end-after", options->endAfter,
                     "End so long after the last page has gone; without it Ctrl-C ends it")
        ->type_name("SECONDS")
        ->transform(numberFromZero());
    command->add_flag("--no-open", options->opensNothing,
                      "Open no browser; print the address alone");
    addBeyondOption(*command, options->reach);
    command->footer(
        "Example:\n"
        "  tracewell view run.wdb\n"
        "  tracewell view golden.wdb --with run.fst --log sim.log\n"
        "Prints the address of the page, with a token that it needs, and opens it. The\n"
        "page is served to this machine alone. ? in it tells all keys.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
