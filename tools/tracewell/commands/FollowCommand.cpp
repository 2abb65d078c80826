// SPDX-License-Identifier: BSD-3-Clause

#include "Commands.h"
#include "commands/ChannelOptions.h"
#include "commands/RadixOption.h"
#include "commands/StoreOption.h"
#include "commands/WindowOptions.h"
#include "files/Interrupt.h"
#include "files/Output.h"
#include "files/OutputFile.h"
#include "files/OwnFile.h"
#include "files/Terminal.h"
#include "live/LiveChannel.h"
#include "live/LivePicture.h"
#include "live/LiveScreen.h"
#include "live/LiveViewer.h"
#include "live/Transit.h"
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

std::string rateText(double rate)
{
    return rate >= 1e6 ? fmt::format("{:.2f} M changes/s", rate / 1e6)
                       : fmt::format("{:.0f} changes/s", rate);
}

std::string delayText(double seconds)
{
    if (std::chrono::duration<double>(seconds) <= 2 * kTick) {
        return "delay below 20 ms";
    }
    return seconds < 1 ? fmt::format("delay {:.0f} ms", seconds * 1e3)
                       : fmt::format("delay {:.1f} s", seconds);
}

class Follow
{
public:
    explicit Follow(const Options& options)
        : m_options(options),
          m_names(options.output, options.store == Store::Transitions ? SignalNames::Places::Objects
                                                                      : SignalNames::Places::Bytes),
          m_output(options.output, options.store == Store::Transitions ? OutputKind::WholeFile
                                                                       : OutputKind::RegularFile),
          m_viewer(makeLiveViewer(options.store, options.channel, m_output.path())),
          m_draws(!options.json && isTerminal(StandardStream::Output))
    {}
    void run();

private:
    void record();
    bool waitForKernel(const std::string& whatFor);
    bool connect();
    void readNames();
    std::vector<Signal> chooseSignals() const;
    long long lastTime() const;
    void showSignals(std::vector<Signal> signals, long long last);
    bool followToEnd();
    bool relaunch();

    void look();
    void sync();
    void measure();
    void draw();
    void report();
    std::string statusLine() const;
    std::string jsonLine() const;
    void summarize();
    std::string close(bool isWhole);
    std::optional<std::string> closeAfterFailure();
    void print(const std::string& line, const std::string& time) const;

    const Options& m_options;
    InterruptGuard m_interrupt;
    SignalNames m_names;
    std::string m_nameText;
    OutputFile m_output;
    bool m_isRecording = false;
    std::unique_ptr<LiveViewer> m_viewer;
    bool m_draws;
    std::optional<Transit> m_transit;
    std::optional<LivePicture> m_picture;
    LiveScreen m_screen;
    const char* m_state = "following";
    double m_rate = 0;
    double m_delay = 0;
    unsigned long long m_countBefore = 0;
    Clock::time_point m_measured;
    Clock::time_point m_nextDraw;
    Clock::time_point m_nextReport;
    Clock::time_point m_nextSync;
};

void Follow::run()
{
    try {
        record();
    } catch (const Failure& e) {
        const std::optional<std::string> ending = closeAfterFailure();
        throw Failure(ending ? m_output.named(e.what()) + *ending : e.what(), e.exitCode());
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
                                  storeText(m_options.store), m_options.channel.optionText()));
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
    while (!m_viewer->isOffered()) {
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
    if (m_viewer->isTaken()) {
        throw Failure(fmt::format("{} is followed by a running viewer already; close that "
                                  "one, or choose another --channel for both sides",
                                  m_options.channel.describe()));
    }
    readNames();
    std::vector<Signal> signals = chooseSignals();
    const long long last = lastTime();
    m_output.start();
    m_isRecording =
        m_viewer->open(m_names, m_nameText, m_options.onKernelExit == OnKernelExit::Wait);
    if (!m_isRecording) {
        return false;
    }
    if (m_output.isReplacement() && m_options.store == Store::Events) {
        tell(fmt::format("{} stays as it is until this ends; what comes meanwhile is in {}",
                         m_output.name(), m_output.path()));
    }
    m_transit.emplace(*m_viewer);
    m_measured = m_nextReport = Clock::now();
    m_nextReport += kReportEvery;
    m_nextSync = m_measured;
    showSignals(std::move(signals), last);
    return true;
}

void Follow::readNames()
{
    m_nameText = readWholeFile(m_options.channel.debugFile());
    m_names.listIn(m_options.channel.debugFile());
    m_names.read(m_nameText);
    if (m_options.store == Store::Events && m_names.hasNames() &&
        m_names.layout().totalSize() > kLargestMemory) {
        throw Failure(fmt::format("{}: asks for {} MB of values; at most {} can be followed",
                                  m_options.channel.debugFile(), m_names.layout().totalSize() >> 20,
                                  kLargestMemory >> 20));
    }
}

/// A picture costs the storing thread something, so there is one only where somebody sees it.
std::vector<Signal> Follow::chooseSignals() const
{
    std::vector<Signal> signals;
    if (!m_options.signals.empty()) {
        signals = selectSignals(m_names, m_options.signals);
    } else if (m_draws) {
        signals = allSignals(m_names);
        signals.resize(std::min(signals.size(), kUsualLanes));
    }
    m_options.radix.apply(m_names, signals);
    return signals;
}

/// Refused before there is an output that would stay.
long long Follow::lastTime() const
{
    return m_options.last.empty() ? 0 : m_names.timeText().parse(m_options.last, Rounding::Up);
}

void Follow::showSignals(std::vector<Signal> signals, long long last)
{
    m_picture.reset();
    if (signals.empty()) {
        return;
    }
    m_picture.emplace(*m_viewer, m_names, std::move(signals), last);
    const std::string note = m_picture->noteOnTexts();
    if (!note.empty()) {
        tell(note);
    }
}

/// True when the simulation has gone, false after an interrupt.
bool Follow::followToEnd()
{
    m_state = "following";
    for (;;) {
        if (m_interrupt.isInterrupted()) {
            m_state = "interrupted";
            return false;
        }
        // In this order: what was sent before it went is there by now.
        const bool isGone = !m_viewer->isKernelPresent();
        if (isGone && m_viewer->isDrained()) {
            m_state = "ended";
            return true;
        }
        m_viewer->check();
        look();
        std::this_thread::sleep_for(kTick);
    }
}

/// False when no new run begins.
bool Follow::relaunch()
{
    m_state = "waiting";
    m_viewer->finish();
    if (m_options.store == Store::Transitions) {
        // It is whole from here on.
        m_output.finish();
    }
    if (m_draws) {
        draw();
        m_screen.leave();
    }
    if (!waitForKernel("the simulation has ended; waiting for the next run on")) {
        m_state = m_interrupt.isInterrupted() ? "interrupted" : "ended";
        return false;
    }
    readNames();
    std::vector<Signal> signals = chooseSignals();
    const long long last = lastTime();
    m_picture.reset();
    m_output.start();
    m_viewer->beginAnew(m_names, m_nameText);
    m_transit.emplace(*m_viewer);
    m_countBefore = 0;
    m_measured = Clock::now();
    showSignals(std::move(signals), last);
    return true;
}

void Follow::look()
{
    m_transit->look();
    const auto now = Clock::now();
    if (now >= m_nextReport) {
        measure();
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
    m_viewer->sync();
    const auto end = Clock::now();
    const auto every =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_options.sync));
    m_nextSync = end + std::max<Clock::duration>(every, kSyncShare * (end - start));
}

void Follow::measure()
{
    const auto now = Clock::now();
    const unsigned long long count = m_viewer->changeCount();
    const double seconds = std::chrono::duration<double>(now - m_measured).count();
    m_rate = seconds > 0 ? static_cast<double>(count - m_countBefore) / seconds : 0;
    m_delay = m_transit->takeDelay();
    m_countBefore = count;
    m_measured = now;
}

void Follow::draw()
{
    std::vector<std::string> lines{statusLine()};
    const std::size_t rows = LiveScreen::rows();
    if (m_picture && rows > 1) {
        const std::vector<std::string> picture = m_picture->draw(LiveScreen::columns(), rows - 1);
        lines.insert(lines.end(), picture.begin(), picture.end());
    }
    m_screen.show(lines);
}

void Follow::report()
{
    print((m_options.json ? jsonLine() : statusLine()) + "\n",
          m_names.timeText().format(m_viewer->latestTime()));
}

std::string Follow::statusLine() const
{
    return fmt::format("{}: {}, {}, {}, {}, {}", printable(m_options.output),
                       m_names.timeText().format(m_viewer->latestTime()),
                       counted(m_viewer->changeCount(), "change"), rateText(m_rate),
                       delayText(m_delay), m_state);
}

std::string Follow::jsonLine() const
{
    std::string values;
    if (m_picture) {
        for (const auto& [label, value] : m_picture->currentValues()) {
            values += fmt::format("{}{}: {}", values.empty() ? "" : ", ", jsonString(label),
                                  jsonString(value));
        }
    }
    return fmt::format("{{\"state\": \"{}\", \"time\": {}, \"changes\": {}, \"rate\": {:.0f}, "
                       "\"delay\": {:.3f}, \"values\": {{{}}}}}",
                       m_state, m_viewer->latestTime(), m_viewer->changeCount(), m_rate, m_delay,
                       values);
}

/// The last line, and the file closed.
void Follow::summarize()
{
    m_viewer->finish();
    if (m_draws) {
        draw();
    } else if (m_options.json) {
        report();
    }
    const unsigned long long count = m_viewer->changeCount();
    const std::string time = m_names.timeText().format(m_viewer->latestTime());
    const unsigned long long refused = m_viewer->refusedCount();
    const std::string ending = close(refused == 0);
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

/// Closes the recording, and answers what OutputFile::finish() does.
std::string Follow::close(bool isWhole)
{
    m_picture.reset();
    m_transit.reset();
    m_viewer->finish();
    m_viewer->close();
    m_isRecording = false;
    m_viewer.reset();
    return m_output.finish(isWhole);
}

/// What was recorded cannot be had again, so all of it that is sound is kept. Answers what close()
/// has to say; nothing when the file stays, not closed, under the name under which it was written.
std::optional<std::string> Follow::closeAfterFailure()
{
    if (!m_isRecording) {
        return std::string();
    }
    try {
        return close(false);
    } catch (const Failure&) {
        if (m_options.store == Store::Events) {
            m_output.keep();
            return std::nullopt;
        }
    }
    return std::string();
}

void Follow::print(const std::string& line, const std::string& time) const
{
    if (!(std::cout << line << std::flush)) {
        throw Failure(fmt::format("standard output: cannot be written: {}; {} was recorded up "
                                  "to {}",
                                  std::strerror(errno), m_options.output, time));
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
                   {{"events", Store::Events}, {"transitions", Store::Transitions}});
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
        "read up to its last sync.");
    command->callback([options, command] {
        if (options->store == Store::Transitions) {
            requireNotGiven(*command, "--sync", options->store);
        }
        options->channel.enter();
        Follow(*options).run();
    });
}

} // namespace tracewell
