// SPDX-License-Identifier: BSD-3-Clause

#include "recorder/Recorder.h"

#include "files/OutputFile.h"
#include "files/StorageWatch.h"
#include "formats/vcd/DeclarationText.h"
#include "formats/vcd/VcdDeclarations.h"
#include "record/DebugFile.h"
#include "record/RecordingWriter.h"
#include "text/Failure.h"
#include "window/WindowRecording.h"

#include "OutputFileNames.h"
#include "QsimException.h"
#include "WdbLiveWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <exception>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

using Tracewell::WdbLiveWriter;

constexpr long long kLookAtFileEveryMs = 20;
constexpr long long kLookForViewerEveryMs = 100;

/// Of a clock that moves every few milliseconds and is cheap enough to be asked at each time step:
/// one may take long.
long long presentMs()
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return 1000LL * time.tv_sec + time.tv_nsec / 1000000;
}

WdbLiveWriter& liveWriter()
{
    return static_cast<WdbLiveWriter&>(*qtracewell_getWdbWriter());
}

/// Nobody could read a name table with scopes that are deeper.
void requireReadableDepth(const std::vector<Scope>& scopes)
{
    std::vector<std::size_t> depths;
    depths.reserve(scopes.size());
    for (const Scope& scope : scopes) {
        depths.push_back(scope.parent == kNoScope ? 1 : depths[scope.parent] + 1);
        if (depths.back() > kMaxScopeDepth) {
            throw Failure(fmt::format("scopes are nested more than {} deep; record a part of the "
                                      "design",
                                      kMaxScopeDepth));
        }
    }
}

} // namespace

Recorder::Recorder(Declarations declarations, RecorderOptions options, Say say)
    : m_options(std::move(options)), m_say(std::move(say)), m_declarations(std::move(declarations)),
      m_layout(m_declarations)
{}

Recorder::~Recorder()
{
    close();
}

/// False, with a line, when the action throws.
template <class Action> bool Recorder::attempt(Action action)
{
    try {
        action();
        return true;
    } catch (const Failure& e) {
        // Of a failure that the storage has told itself this is the second account.
        if (!m_isBroken) {
            m_say(m_output ? m_output->named(e.what()) : e.what());
        }
    } catch (const Qsim::Exception& e) {
        m_say(fmt::format("{}: {}", m_options.output, e.getMessage()));
    } catch (const std::exception& e) {
        m_say(fmt::format("{}: {}", m_options.output, e.what()));
    }
    return false;
}

bool Recorder::open()
{
    close();
    m_isBroken = false;
    std::string failure;
    m_watch.reset();
    m_watch = std::make_unique<StorageWatch>([&failure](const std::string& line) {
        if (failure.empty()) {
            failure = line;
        }
    });
    m_isOpen = attempt([&] {
        try {
            requireReadableDepth(m_declarations.scopes);
            m_options.output.empty() ? openChannel() : openFile();
        } catch (const Qsim::Exception&) {
            if (failure.empty()) {
                throw;
            }
            throw Failure(fmt::format("{}: nothing is recorded: {}", m_options.output, failure));
        }
    });
    if (m_isOpen) {
        m_watch = std::make_unique<StorageWatch>([this](const std::string& line) {
            m_isBroken = true;
            m_say(m_output ? m_output->named(line) : line);
        });
    } else {
        m_watch.reset();
        m_values.reset();
        m_window = nullptr;
        m_file.reset();
        m_output.reset();
        m_directory.reset();
        m_debugFile.reset();
    }
    m_isOff = false;
    m_nextSync = m_nextLook = 0;
    return m_isOpen;
}

void Recorder::openFile()
{
    if (m_layout.totalSize() > kLargestMemory) {
        throw Failure(fmt::format("{}: the values of all variables take {} MB; at most {} can "
                                  "be kept: record fewer scopes",
                                  m_options.output, m_layout.totalSize() >> 20,
                                  kLargestMemory >> 20));
    }
    auto output = std::make_unique<OutputFile>(m_options.output, OutputKind::RegularFile);
    if (m_options.window == 0 && m_options.store == Store::Transitions) {
        // The library completes the name.
        m_output = std::make_unique<OutputFile>(
            ZSIM::OutputFileNames::getWdbFileName(m_options.output, 0), OutputKind::WholeFile);
    } else if (m_options.window == 0) {
        m_output = std::move(output);
    }
    m_directory = std::make_unique<SnapshotDirectory>(m_options.output);
    m_window = nullptr;
    if (m_options.window > 0) {
        auto file = std::make_unique<WindowRecording>(m_declarations, m_layout, m_options.window,
                                                      m_options.leastPart, m_options.store, m_say);
        m_window = file.get();
        m_file = std::move(file);
    } else {
        m_file = makeRecordingWriter(m_options.store);
    }
    m_values =
        std::make_unique<ValueRecorder>(m_declarations, m_layout, m_file->writer(), m_file->sink());
    if (m_window) {
        m_values->rememberTexts();
    }
    m_directory->write(writeDeclarations(m_declarations));
    if (m_output) {
        m_output->start();
    }
    m_file->open(m_output ? m_output->path() : m_options.output, *m_directory, m_layout, 0);
    m_directory->remove();
    // What can be read while it grows is found under its name.
    if (m_output && m_options.store != Store::Transitions) {
        m_output->show();
    }
}

/// The names are there before the channel, so that whoever finds it finds them.
void Recorder::openChannel()
{
    if (m_options.window != 0 || m_options.store == Store::Transitions) {
        m_say("a live view has no file, so that the choice of a store and the last of a run do "
              "not apply");
    }
    WdbLiveWriter& writer = liveWriter();
    m_debugFile =
        std::make_unique<DebugFile>(ZSIM::OutputFileNames::getDbgPathName(m_options.snapshot),
                                    writeDeclarations(m_declarations));
    m_values = std::make_unique<ValueRecorder>(m_declarations, m_layout, writer,
                                               makeEventSink(writer, Texts::Untold));
    writer.setWaitHook([this] { return mayWaitForViewer(); });
    writer.open(WdbLiveWriter::kLiveMode, m_options.snapshot, "", m_options.channel);
    if (!writer.isOpen()) {
        throw Failure(fmt::format("live channel {} cannot be opened; is another simulation "
                                  "using it? Choose another number",
                                  m_options.channel));
    }
    m_hasViewer = false;
    m_values->setMuted(true);
}

void Recorder::step(long long time)
{
    if (m_window && m_window->isDue(time, *m_values) &&
        !attempt([this] { m_window->beginSegment(*m_values, *m_directory, !m_isOff); })) {
        stop();
        return;
    }
    m_values->setTime(time);
    if (const long long now = presentMs(); now >= m_nextLook) {
        look(now);
    }
}

void Recorder::look(long long now)
{
    if (m_options.output.empty()) {
        lookAtViewer();
        m_nextLook = presentMs() + kLookForViewerEveryMs;
        return;
    }
    if (m_isBroken || !attempt([this] { m_file->check(); })) {
        stop();
        return;
    }
    showRefusal();
    m_nextLook = now + kLookAtFileEveryMs;
    if (m_options.syncSeconds > 0) {
        if (now >= m_nextSync) {
            m_file->flush();
            m_nextSync = presentMs() + static_cast<long long>(1000 * m_options.syncSeconds);
        }
        m_nextLook = std::min(m_nextLook, m_nextSync);
    }
}

/// A viewer may come and go; each is told all values first.
void Recorder::lookAtViewer()
{
    const bool isPresent = liveWriter().isViewerPresent();
    if (isPresent == m_hasViewer && !m_hasDropped) {
        return;
    }
    m_hasDropped = false;
    m_hasViewer = isPresent;
    if (!isPresent) {
        // What this one has not read tells the next one of a time long gone.
        liveWriter().restart();
    }
    m_values->setMuted(!isPresent || m_isOff);
    if (isPresent) {
        m_values->countAnew();
    }
    if (isPresent && !m_isOff) {
        m_values->restate();
    }
}

/// Asked inside of a trace call that finds the ring full. A viewer that is slow loses nothing.
bool Recorder::mayWaitForViewer()
{
    // Between two looks one may go and another one come, who must be told all values too.
    m_hasDropped = !liveWriter().isViewerPresent();
    return !m_hasDropped;
}

void Recorder::showRefusal()
{
    const std::string refusal = m_values->takeRefusal();
    if (!refusal.empty()) {
        m_say(refusal);
    }
}

void Recorder::off()
{
    if (!m_isOpen || m_isOff) {
        return;
    }
    m_isOff = true;
    m_values->forgetAll();
    m_values->setMuted(true);
}

void Recorder::on()
{
    if (!m_isOpen || !m_isOff) {
        return;
    }
    m_isOff = false;
    m_values->setMuted(m_options.output.empty() && !m_hasViewer);
    m_values->restate();
}

void Recorder::flush()
{
    if (m_isOpen && m_file) {
        m_file->flush();
    }
}

void Recorder::trigger()
{
    if (m_window) {
        close();
    } else {
        flush();
    }
}

void Recorder::close()
{
    if (!m_isOpen) {
        return;
    }
    if (m_file && m_isBroken) {
        stop();
        return;
    }
    if (m_file) {
        showRefusal();
        attempt([this] {
            m_file->finish(m_values->time(), *m_directory, m_declarations);
            if (m_output && !m_isBroken) {
                m_output->finish();
                m_output.reset();
            }
        });
    } else {
        liveWriter().close();
        liveWriter().setWaitHook({});
    }
    stop();
}

/// Without finishing: after a failure what reached the file stays as it is, where it is.
void Recorder::stop()
{
    m_isOpen = false;
    m_window = nullptr;
    m_values->detach();
    m_file.reset();
    if (m_output && m_options.store != Store::Transitions && m_output->giveBack()) {
        m_say(fmt::format("{} is as it was before this run; what was recorded is in {}",
                          m_output->name(), m_output->path()));
    }
    m_output.reset();
    m_directory.reset();
    m_debugFile.reset();
    m_watch.reset();
}

} // namespace tracewell
