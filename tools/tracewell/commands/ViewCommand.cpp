// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/ChannelOptions.h"
#include "commands/Commands.h"
#include "commands/OptionValues.h"
#include "commands/StoreOption.h"
#include "files/Interrupt.h"
#include "files/Output.h"
#include "files/OutputSuffix.h"
#include "files/PrivateDirectory.h"
#include "live/LiveChannel.h"
#include "live/LiveRecording.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "view/LiveSource.h"
#include "view/SessionFile.h"
#include "view/TimedLog.h"
#include "view/ViewAnswers.h"
#include "view/ViewServer.h"
#include "view/ViewSource.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>
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
    unsigned int control = 0;
    std::string socket;
    double endAfter = -1;
    bool opensNothing = false;
    Reach reach = Reach::Whole;
    bool isLive = false;
    LiveChannel channel;
    Store store = Store::Events;
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

/// Serves until somebody ends it. `name` is what messages call it.
void serve(const Options& options, const std::string& name, ViewAnswers& answers)
{
    ViewServerOptions serving;
    serving.port = static_cast<unsigned short>(options.port);
    serving.socket = options.socket;
    serving.control = static_cast<unsigned short>(options.control);
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
                         name, options.socket));
    } else {
        tell(fmt::format("{} is served to the page at this address until Ctrl-C; who has the "
                         "address sees the recording",
                         name));
        if (!options.opensNothing) {
            openBrowser(server.address());
        }
    }
    server.run();
}

std::unique_ptr<TimedLog> openLog(const Options& options, const SignalNames& names)
{
    return options.log.empty()
               ? nullptr
               : std::make_unique<TimedLog>(options.log, options.logPattern, names.timeText());
}

void viewFiles(const Options& options)
{
    SessionFile session(options.session);
    std::vector<std::unique_ptr<ViewedRun>> runs;
    runs.push_back(openRun(options.file, options.reach));
    if (!options.other.empty()) {
        runs.push_back(openRun(options.other, options.reach));
    }
    std::unique_ptr<TimedLog> log = openLog(options, runs.front()->source().names());
    ViewAnswers answers(std::move(runs), std::move(session), std::move(log));
    serve(options, options.file, answers);
}

/// Waits for a simulation, and for its names.
void connect(const Options& options, LiveRecording& recording)
{
    constexpr std::chrono::milliseconds kTick(20);
    const InterruptGuard interrupt;
    bool isSaid = false;
    do {
        while (!recording.viewer().isOffered()) {
            if (interrupt.isInterrupted()) {
                throw Failure("interrupted before a simulation came");
            }
            if (!isSaid) {
                tell(fmt::format("waiting for {}", options.channel.describe()));
                isSaid = true;
            }
            std::this_thread::sleep_for(kTick);
        }
        if (recording.viewer().isTaken()) {
            throw Failure(fmt::format("{} is followed by a running viewer already; close that one, "
                                      "or choose another --channel for both sides",
                                      options.channel.describe()));
        }
        recording.readNames();
        recording.names().requireNames();
    } while (!recording.open(true));
}

void viewLive(const Options& options)
{
    if (!options.session.empty() && options.session == options.file) {
        throw Failure(fmt::format("{}: cannot be the session and the recording", options.file));
    }
    requireDatabaseName(options.file);
    SessionFile session(options.session);
    std::optional<PrivateDirectory> place;
    if (options.file.empty()) {
        place.emplace();
    }
    const std::string output = place ? place->path() + "/live.wdb" : options.file;
    LiveRecording recording(options.store, options.channel, output);
    try {
        connect(options, recording);
        std::vector<std::unique_ptr<ViewedRun>> runs;
        runs.push_back(std::make_unique<ViewedRun>(options.channel.describe(),
                                                   std::make_unique<LiveSource>(recording)));
        std::unique_ptr<TimedLog> log = openLog(options, recording.names());
        ViewAnswers answers(std::move(runs), std::move(session), std::move(log));
        serve(options, options.channel.describe(), answers);
        if (!answers.failure().empty()) {
            throw Failure(answers.failure());
        }
    } catch (const Failure& e) {
        const std::optional<std::string> ending = recording.closeAfterFailure();
        throw Failure(ending && !place ? recording.output().named(e.what()) + *ending : e.what(),
                      e.exitCode());
    }
    recording.close(true);
    if (!place) {
        tell(fmt::format("{}: closed", options.file));
    }
}

} // namespace

void addViewCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("view", "Show a recording in the browser");
    command->add_option("FILE", options->file,
                        "A wave database, or a VCD, FST or GHW file; with --live the wave database "
                        "to make, none if it is not to be kept");
    command->add_flag("--live", options->isLive,
                      "Show a simulation that runs, or wait for it; when it has gone, wait for its "
                      "next run");
    addChannelOptions(*command, options->channel.place());
    addStoreOption(*command, options->store,
                   {{"events", Store::Events}, {"transitions", Store::Transitions}});
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
        ->add_option(
            "--control", options->control,
            "Let other programs of this machine drive the page, at this port of 127.0.0.1, "
            "by the waveform control protocol: lines of JSON")
        ->type_name("PORT")
        ->transform(wholeNumber(1, 65535));
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
    command->callback([options, command] {
        if (options->isLive) {
            if (!options->other.empty()) {
                throw CLI::ValidationError("--with", "has no meaning with --live; leave it out");
            }
            options->channel.enter();
            viewLive(*options);
            return;
        }
        for (const char* option : {"--channel", "--snapshot", "--dir", "--store"}) {
            if (command->get_option(option)->count() != 0) {
                throw CLI::ValidationError(option, "has no meaning without --live; leave it out");
            }
        }
        if (options->file.empty()) {
            throw CLI::ValidationError(
                "FILE", "is missing; name a recording, or take --live for a simulation that runs");
        }
        viewFiles(*options);
    });
}

} // namespace tracewell
