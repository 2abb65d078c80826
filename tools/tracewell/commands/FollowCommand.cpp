// SPDX-License-Identifier: BSD-3-Clause

#include "commands/ChannelOptions.h"
#include "commands/Commands.h"
#include "commands/RadixOption.h"
#include "commands/RunOrder.h"
#include "commands/StoreOption.h"
#include "commands/WindowOptions.h"
#include "files/Interrupt.h"
#include "files/Output.h"
#include "files/OutputFile.h"
#include "files/OutputSuffix.h"
#include "files/Terminal.h"
#include "live/LiveChannel.h"
#include "live/LivePicture.h"
#include "live/LiveRecording.h"
#include "live/LiveScreen.h"
#include "live/LiveStatus.h"
#include "live/LiveViewer.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "text/Utf8.h"
#include "wave/SignalNames.h"
#include "wave/SignalSelection.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

namespace tracewell {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kTick = std::chrono::milliseconds(10);
constexpr auto kRedrawEvery = std::chrono::milliseconds(200);
/// Drawing takes no more than one part in so many of the time.
constexpr int kDrawShare = 10;
constexpr double kUsualSync = 1;
/// The storing thread stands still for no more than one part in so many of the time.
constexpr int kSyncShare = 20;
constexpr auto kReportEvery = std::chrono::seconds(1);
constexpr auto kSayAfter = std::chrono::milliseconds(300);
constexpr double kUsualWait = 60;
/// Signals that are drawn when nobody says which.
constexpr std::size_t kUsualLanes = 10;

enum class OnKernelExit { End, Wait };

struct Options
{
    std::string output;
    std::vector<std::string> signals;
    LiveChannel channel;
    Store store = Store::Events;
    double wait = kUsualWait;
    double sync = kUsualSync;
    std::string last;
    RadixOption radix;
    bool json = false;
    OnKernelExit onKernelExit = OnKernelExit::End;
};

/// What a simulation sends for it: columns are made of events.
Store channelStore(Store store)
{
    return store == Store::Columns ? Store::Events : store;
}

class Follow
{
public:
    explicit Follow(const Options& options)
        : m_options(options), m_recording(options.store, options.channel, options.output),
          m_draws(!options.json && isTerminal(StandardStream::Output))
    {}
    void run();

private:
    void record();
    bool waitForKernel(const std::string& whatFor);
    bool connect();
    std::vector<Signal> chooseSignals() const;
    long long lastTime() const;
    void showSignals(std::vector<Signal> signals, long long last);
    bool followToEnd();
    bool relaunch();

    void look();
    void sync();
    void draw();
    void report();
    void summarize();
    void letGo();
    void print(const std::string& line, const std::string& time) const;

    const Options& m_options;
    InterruptGuard m_interrupt;
    LiveRecording m_recording;
    bool m_draws;
    std::optional<LiveStatus> m_status;
    std::optional<LivePicture> m_picture;
    LiveScreen m_screen;
    Clock::time_point m_nextDraw;
    Clock::time_point m_nextReport;
    Clock::time_point m_nextSync;
};

void Follow::run()
{
    try {
        record();
    } catch (const Failure& e) {
        letGo();
        const std::optional<std::string> ending = m_recording.closeAfterFailure();
        throw Failure(ending ? m_recording.output().named(e.what()) + *ending : e.what(),
                      e.exitCode());
    }
}

void Follow::record()
{
    do {
        if (!waitForKernel("waiting for")) {
            throw Failure(
                m_interrupt.isInterrupted()
                    ? "interrupted before a simulation came; nothing was recorded"
                    : fmt::format("no simulation offers {} after {} s; start one there (tracewell "
                                  "replay IN.vcd --live{}{}), or wait longer with --wait",
                                  m_options.channel.describe(), m_options.wait,
                                  storeText(channelStore(m_options.store)),
                                  m_options.channel.optionText()));
        }
    } while (!connect());
    while (followToEnd() && m_options.onKernelExit == OnKernelExit::Wait && relaunch()) {
    }
    summarize();
}

/// False after the time that the user gives it, and after an interrupt.
bool Follow::waitForKernel(const std::string& whatFor)
{
    const LiveChannel& channel = m_options.channel;
    const auto start = Clock::now();
    const auto passed = [&] { return Clock::now() - start; };
    bool isSaid = false;
    while (!m_recording.viewer().isOffered()) {
        if (m_interrupt.isInterrupted() ||
            passed() > std::chrono::duration<double>(m_options.wait)) {
            return false;
        }
        if (!isSaid && passed() >= kSayAfter) {
            tell(fmt::format("{} {}", whatFor, channel.describe()));
            isSaid = true;
        }
        std::this_thread::sleep_for(kTick);
    }
    return true;
}

/// False when the simulation has gone again meanwhile.
bool Follow::connect()
{
    if (m_recording.viewer().isTaken()) {
        throw Failure(fmt::format("{} is followed by a running viewer already; close that "
                                  "one, or choose another --channel for both sides",
                                  m_options.channel.describe()));
    }
    m_recording.readNames();
    std::vector<Signal> signals = chooseSignals();
    const long long last = lastTime();
    if (!m_recording.open(m_options.onKernelExit == OnKernelExit::Wait)) {
        return false;
    }
    const OutputFile& output = m_recording.output();
    if (output.isReplacement() && m_options.store != Store::Transitions) {
        tell(fmt::format("{} stays as it is until this ends; what comes meanwhile is in {}",
                         output.name(), output.path()));
    }
    m_status.emplace(m_recording.viewer(), m_recording.names().timeText());
    m_nextSync = Clock::now();
    m_nextReport = m_nextSync + kReportEvery;
    showSignals(std::move(signals), last);
    return true;
}

/// A picture costs the storing thread something, so there is one only where somebody sees it.
std::vector<Signal> Follow::chooseSignals() const
{
    const SignalNames& names = m_recording.names();
    std::vector<Signal> signals;
    if (!m_options.signals.empty()) {
        signals = selectSignals(names, m_options.signals);
    } else if (m_draws) {
        signals = allSignals(names);
        signals.resize(std::min(signals.size(), kUsualLanes));
    }
    m_options.radix.apply(names, signals);
    return signals;
}

/// Refused before there is an output that would stay.
long long Follow::lastTime() const
{
    return m_options.last.empty()
               ? 0
               : m_recording.names().timeText().parse("--last", m_options.last, Rounding::Up);
}

void Follow::showSignals(std::vector<Signal> signals, long long last)
{
    m_picture.reset();
    if (signals.empty()) {
        return;
    }
    m_picture.emplace(m_recording.viewer(), m_recording.names(), std::move(signals), last);
    const std::string note = m_picture->noteOnTexts();
    if (!note.empty()) {
        tell(note);
    }
}

/// True when the simulation has gone, false after an interrupt.
bool Follow::followToEnd()
{
    LiveViewer& viewer = m_recording.viewer();
    for (;;) {
        if (m_interrupt.isInterrupted()) {
            m_status->setState(LiveStatus::State::Interrupted);
            return false;
        }
        // In this order: what was sent before it went is there by now.
        const bool isGone = !viewer.isKernelPresent();
        if (isGone && viewer.isDrained()) {
            m_status->setState(LiveStatus::State::Ended);
            return true;
        }
        viewer.check();
        look();
        std::this_thread::sleep_for(kTick);
    }
}

/// False when no new run begins.
bool Follow::relaunch()
{
    m_status->setState(LiveStatus::State::Waiting);
    m_recording.finishRun();
    if (m_draws) {
        draw();
        m_screen.leave();
    }
    if (!waitForKernel("the simulation has ended; waiting for the next run on")) {
        m_status->setState(m_interrupt.isInterrupted() ? LiveStatus::State::Interrupted
                                                       : LiveStatus::State::Ended);
        return false;
    }
    m_recording.readNames();
    std::vector<Signal> signals = chooseSignals();
    const long long last = lastTime();
    m_picture.reset();
    m_recording.beginAnew();
    m_status.emplace(m_recording.viewer(), m_recording.names().timeText());
    showSignals(std::move(signals), last);
    return true;
}

void Follow::look()
{
    m_status->look();
    const auto now = Clock::now();
    if (now >= m_nextReport) {
        m_status->measure();
        m_nextReport = now + kReportEvery;
        if (!m_draws) {
            report();
        }
    }
    if (m_draws && now >= m_nextDraw) {
        draw();
        const auto end = Clock::now();
        m_nextDraw = end + std::max<Clock::duration>(kRedrawEvery, kDrawShare * (end - now));
    }
    if (m_options.sync > 0 && now >= m_nextSync) {
        sync();
    }
}

void Follow::sync()
{
    const auto start = Clock::now();
    m_recording.viewer().sync();
    const auto end = Clock::now();
    const auto every =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_options.sync));
    m_nextSync = end + std::max<Clock::duration>(every, kSyncShare * (end - start));
}

void Follow::draw()
{
    std::vector<std::string> lines{m_status->line(m_options.output)};
    const std::size_t rows = LiveScreen::rows();
    if (m_picture && rows > 1) {
        const std::vector<std::string> picture = m_picture->draw(LiveScreen::columns(), rows - 1);
        lines.insert(lines.end(), picture.begin(), picture.end());
    }
    m_screen.show(lines);
}

void Follow::report()
{
    std::string line;
    if (m_options.json) {
        line = m_status->jsonLine(m_picture ? m_picture->currentValues() : LivePicture::Values());
    } else {
        line = m_status->line(m_options.output);
    }
    print(line + "\n", m_recording.names().timeText().format(m_recording.viewer().latestTime()));
}

/// The last line, and the file closed.
void Follow::summarize()
{
    LiveViewer& viewer = m_recording.viewer();
    viewer.finish();
    if (m_draws) {
        draw();
    } else if (m_options.json) {
        report();
    }
    const unsigned long long count = viewer.changeCount();
    const std::string time = m_recording.names().timeText().format(viewer.latestTime());
    const unsigned long long refused = viewer.refusedCount();
    letGo();
    const std::string ending = m_recording.close(refused == 0);
    if (!m_options.json) {
        print(fmt::format("{}: closed with {} up to {}; {}\n", printable(m_options.output),
                          counted(count, "change"), time,
                          m_interrupt.isInterrupted() ? "interrupted" : "the simulation has gone"),
              time);
    }
    if (refused != 0) {
        throw Failure(fmt::format("{}: something that no simulation sends was left out {}; a line "
                                  "before tells of the first{}",
                                  m_options.output, counted(refused, "time"), ending));
    }
}

/// Before the viewer goes, who looks at it.
void Follow::letGo()
{
    m_picture.reset();
    m_status.reset();
}

void Follow::print(const std::string& line, const std::string& time) const
{
    if (!(std::cout << line << std::flush)) {
        throw Failure(fmt::format("standard output: cannot be written: {}; {} was recorded up "
                                  "to {}",
                                  std::strerror(errno), m_options.output, time));
    }
}

/// What was recorded is events; it stays where it cannot be packed.
void packInPlace(const std::string& path)
{
    try {
        // Texts do not travel on a channel; that some are missing is no reason to stop.
        makeRun({"follow", "packing", {}, path, RunFormat::Database, Store::Columns},
                [&](const FinerTimes&) { return ChangeStream::open(path, Reach::Beyond); });
    } catch (const Failure& e) {
        throw Failure(fmt::format("{}: holds the whole run, but in events and not in columns: {}; "
                                  "tracewell pack makes columns of it",
                                  path, e.what()),
                      e.exitCode());
    }
}

} // namespace

void addFollowCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("follow", "Record and show a simulation while it runs");
    command->add_option("OUT.wdb", options->output, "The wave database to make")->required();
    command->add_option("SIGNAL", options->signals,
                        "Full names (top.dut.data), patterns with * and ?, or @ADDRESS[:BYTES] to "
                        "show; in a terminal the first 10 signals if none is given");
    addChannelOptions(*command, options->channel.place());
    addStoreOption(*command, options->store,
                   {{"events", Store::Events},
                    {"columns", Store::Columns},
                    {"transitions", Store::Transitions}});
    command
        ->add_option("--wait", options->wait,
                     "How long to wait for the simulation; 60 seconds if not given")
        ->type_name("SECONDS")
        ->transform(numberFromZero());
    command
        ->add_option("--sync", options->sync,
                     "Make what was recorded so far readable by others every SECONDS; 1 if not "
                     "given, 0 for never. A kill then loses no more than that")
        ->type_name("SECONDS")
        ->transform(numberFromZero());
    command
        ->add_option("--last", options->last,
                     "Show this stretch of time at the end, and not all of it")
        ->type_name("TIME")
        ->check(timeArgument());
    options->radix.addTo(*command);
    command->add_flag("--json", options->json, "One line a second, for programs");
    addChoice(*command, "--on-kernel-exit", options->onKernelExit,
              {{"end", OnKernelExit::End}, {"wait", OnKernelExit::Wait}},
              "What to do when the simulation has gone: end (this if not given), or wait for its "
              "next run and record that in place of the one before");
    command->footer(
        "Example:\n"
        "  tracewell follow live.wdb 'top.dut.*' --last 2us\n"
        "Start it before the simulation or after it. Ctrl-C and the end of the simulation leave a\n"
        "closed file that every command reads. Texts do not travel on a live channel: a string\n"
        "shows when it changes, and ? for its text. After a kill of this command the file is\n"
        "read up to its last sync. With --store columns it holds events until the end, and is\n"
        "packed then.");
    command->callback([options, command] {
        if (options->store == Store::Transitions) {
            requireNotGiven(*command, "--sync", options->store);
        }
        requireDatabaseName(options->output);
        options->channel.enter();
        Follow(*options).run();
        if (options->store == Store::Columns) {
            packInPlace(options->output);
        }
    });
}

} // namespace tracewell
