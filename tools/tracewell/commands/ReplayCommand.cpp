// SPDX-License-Identifier: BSD-3-Clause

#include "commands/ChannelOptions.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/StoreOption.h"
#include "files/Interrupt.h"
#include "files/ProgressBar.h"
#include "files/Terminal.h"
#include "formats/vcd/DeclarationText.h"
#include "import/InputRun.h"
#include "live/LiveChannel.h"
#include "live/LiveKernel.h"
#include "live/ViewerWatch.h"
#include "names/TimeText.h"
#include "record/DebugFile.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Message.h"

#include "ChannelRefusal.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace tracewell {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/// How long a paced replay sleeps without looking up.
constexpr Seconds kLongestNap(0.02);

struct Options
{
    std::string input;
    bool isLenient = false;
    bool live = false;
    LiveChannel channel;
    Store store = Store::Events;
    /// Times real time; 0 is as fast as it goes.
    double speed = 0;
    OnViewerExit onViewerExit = OnViewerExit::Wait;
};

class Replay
{
public:
    explicit Replay(const Options& options);
    void run();

private:
    void open();
    void pace(long long time);
    void whileReading(double progress);
    void say(const std::string& text);
    std::string now() const;
    void summarize();

    const Options& m_options;
    InterruptGuard m_interrupt;
    std::optional<ProgressBar> m_bar;
    // Closes before the names that belong to it go.
    std::optional<DebugFile> m_names;
    std::unique_ptr<LiveKernel> m_kernel;
    ViewerWatch m_watch;
    bool m_isOpen = false;
    std::optional<InputRun> m_input;
    TimeText m_timeText;
    /// When time m_paceFrom was, at which pacing began; waits do not count.
    Clock::time_point m_paceStart;
    std::optional<long long> m_paceFrom;
    Clock::time_point m_start;
};

Replay::Replay(const Options& options)
    : m_options(options), m_kernel(makeLiveKernel(options.store)),
      m_watch(
          *m_kernel, m_interrupt, options.onViewerExit,
          [this](const std::string& text) { say(text); }, [this] { return now(); })
{}

void Replay::run()
{
    m_input.emplace(m_options.input, m_kernel->writer(), m_kernel->sink(),
                    InputRun::Reading{0, m_options.isLenient},
                    [this](double progress) { whileReading(progress); });
    m_timeText = TimeText(m_input->declarations().timescale);
    m_watch.setRecorder(&m_input->values());
    open();
    m_watch.waitForFirst([this] {
        say(fmt::format(
            "waiting for the first viewer of {}, without end: tracewell follow OUT.wdb{}{}",
            m_options.channel.describe(), storeText(m_options.store),
            m_options.channel.optionText()));
    });
    m_isOpen = true;
    m_start = Clock::now();
    m_bar.emplace("replaying");
    if (m_options.speed > 0) {
        m_input->play(false, [this](long long time) { pace(time); });
    } else {
        m_input->play(false);
    }
    m_kernel->writer().markCurrentTime(m_input->values().time());
    m_watch.checkNow();
    m_bar.reset();
    m_kernel->writer().close();
    if (isTerminal(StandardStream::Error)) {
        summarize();
    }
    if (const std::string lenience = m_input->lenience(); !lenience.empty()) {
        say(fmt::format("{}: {}", m_input->input().name(), lenience));
    }
    if (const std::string shortfall = m_input->shortfall("sent"); !shortfall.empty()) {
        throw Failure(fmt::format("{}: {}", m_input->input().name(), shortfall));
    }
}

void Replay::open()
{
    // The names are there before the channel, so that whoever finds it finds them.
    m_names.emplace(m_options.channel.debugFile(), writeDeclarations(m_input->declarations()));
    m_watch.attach();
    const Tracewell::ChannelRefusal refusal;
    m_kernel->writer().open(Tracewell::IWdbWriter::kLiveMode, m_options.channel.snapshot(), "",
                            m_options.channel.number());
    if (!m_kernel->isOpen()) {
        throw Failure(fmt::format("{} cannot be opened: {}", m_options.channel.describe(),
                                  refusal.getReason()));
    }
}

/// Sleeps until it is time for `time`. Simulation time goes on meanwhile.
void Replay::pace(long long time)
{
    ValueRecorder& recorder = m_input->values();
    if (!m_paceFrom) {
        m_paceFrom = time;
        m_paceStart = Clock::now();
        return;
    }
    const Timescale timescale = m_timeText.timescale();
    const double unit =
        static_cast<double>(timescale.factor) * std::pow(10, timescale.exponent) / m_options.speed;
    const auto elapsed = [&] {
        return Seconds(Clock::now() - m_paceStart - m_watch.timeWaited()).count();
    };
    const double due = static_cast<double>(time - *m_paceFrom) * unit;
    long long marked = recorder.time();
    bool isMarked = false;
    double left = due - elapsed();
    while (left > 0) {
        const double passed = std::max(0.0, elapsed() / unit);
        const long long reached =
            std::clamp(*m_paceFrom + static_cast<long long>(
                                         std::min(passed, static_cast<double>(time - *m_paceFrom))),
                       marked, std::max(marked, time - 1));
        if (!isMarked || reached > marked) {
            m_kernel->writer().markCurrentTime(reached);
            marked = reached;
            isMarked = true;
        }
        std::this_thread::sleep_for(std::min(Seconds(left), kLongestNap));
        m_watch.check();
        left = due - elapsed();
    }
}

void Replay::whileReading(double progress)
{
    if (!m_isOpen) {
        if (m_interrupt.isInterrupted()) {
            throw Failure("interrupted before anything was sent");
        }
        return;
    }
    m_watch.check();
    if (m_bar) {
        m_bar->update(progress);
    }
}

void Replay::say(const std::string& text)
{
    const bool hasBar = m_bar.has_value();
    m_bar.reset();
    tell(text);
    if (hasBar) {
        m_bar.emplace("replaying");
    }
}

std::string Replay::now() const
{
    return m_timeText.format(m_input ? m_input->values().time() : 0);
}

void Replay::summarize()
{
    const ValueRecorder& recorder = m_input->values();
    const double seconds = Seconds(Clock::now() - m_start).count();
    tell(fmt::format("{} sent, time {} to {}, in {:.1f} s", counted(recorder.changes(), "change"),
                     recorder.firstTime(), recorder.time(), seconds));
}

} // namespace

void addReplayCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("replay", "Play the simulation of a VCD, for a viewer beside it");
    command
        ->add_option("IN", options->input,
                     "The run: a VCD, FST or GHW file, packed or not; - is the standard input")
        ->required();
    addLenientOption(*command, options->isLenient);
    command->add_flag("--live", options->live, "Send it through a live channel")->required();
    addChannelOptions(*command, options->channel.place());
    addStoreOption(*command, options->store,
                   {{"events", Store::Events}, {"transitions", Store::Transitions}});
    command
        ->add_option("--speed", options->speed,
                     "Times real time: 1e-6 shows a microsecond of simulation each second; as fast "
                     "as it goes if not given")
        ->type_name("X")
        ->transform(numberAboveZero());
    addChoice(
        *command, "--on-viewer-exit", options->onViewerExit,
        {{"wait", OnViewerExit::Wait}, {"drop", OnViewerExit::Drop}, {"stop", OnViewerExit::Stop}},
        "What to do when the viewer goes: wait for another one (this if not given), drop changes "
        "until one comes, or stop. The first one is waited for in any case");
    command->footer(
        "Example:\n"
        "  tracewell replay run.vcd --live --speed 1e-6 & tracewell follow live.wdb top.clk\n"
        "  mkfifo run.vcd; vvp design.vvp & tracewell replay run.vcd --live\n"
        "IN may be a pipe that a simulation still writes, made by mkfifo as its $dumpfile.\n"
        "Replay waits for its viewer, and at a full ring for a slow one: nothing is lost. A "
        "viewer\n"
        "that comes behind another one is told all values as they are then. Texts do not travel:\n"
        "strings, and values that only a text can tell, are in the files of `import` alone.");
    command->callback([options] {
        options->channel.enter();
        Replay(*options).run();
    });
}

} // namespace tracewell
