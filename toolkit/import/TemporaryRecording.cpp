// SPDX-License-Identifier: BSD-3-Clause

#include "import/TemporaryRecording.h"

#include "files/Interrupt.h"
#include "files/ProcessGuest.h"
#include "files/ProgressBar.h"
#include "formats/vcd/DeclarationText.h"
#include "import/InputRun.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"

#include <memory>

namespace tracewell {

TemporaryRecording::TemporaryRecording(const std::string& input)
    : m_path(m_directory.path() + "/run.wdb")
{
    std::optional<InterruptGuard> interrupt;
    if (!isGuest()) {
        interrupt.emplace();
    }
    const std::function<void()> check = [&] {
        if (interrupt) {
            interrupt->check();
        }
    };
    if (const std::optional<int> digits = attempt(input, 0, check)) {
        attempt(input, *digits, check);
    }
}

/// Answers the decimals that times have beyond `fractionDigits`; the attempt was in vain then.
std::optional<int> TemporaryRecording::attempt(const std::string& input, int fractionDigits,
                                               const std::function<void()>& check)
{
    ProgressBar bar("reading");
    SnapshotDirectory directory(m_path);
    const std::unique_ptr<RecordingWriter> writer = makeColumnWriter();
    constexpr bool kLenient = false;
    InputRun run(input, writer->writer(), writer->sink(), {fractionDigits, kLenient},
                 [&](double progress) {
                     check();
                     bar.update(progress);
                 });
    directory.write(writeDeclarations(run.declarations()));
    writer->open(m_path, directory, run.layout(), run.input().expectedSize());
    directory.remove();
    if (const std::optional<int> needed = run.play(true)) {
        return needed;
    }
    writer->finish(run.values().time(), directory, run.declarations());
    if (const std::string line = run.shortfall("taken"); !line.empty()) {
        m_shortfalls.push_back(line);
    }
    if (const std::string line = run.lenience(); !line.empty()) {
        m_notices.push_back(line);
    }
    return std::nullopt;
}

} // namespace tracewell
