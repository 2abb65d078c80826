// SPDX-License-Identifier: BSD-3-Clause

#include "import/InputRun.h"

#include "formats/fst/FstRunReader.h"
#include "formats/ghw/GhwRunReader.h"
#include "formats/vcd/VcdRunReader.h"
#include "input/InputFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <utility>

namespace tracewell {

namespace {

/// Decimals of a time beyond which no 64-bit count has room.
constexpr int kMostFractionDigits = 18;

std::unique_ptr<RunReader> openReader(const std::string& path, const InputRun::Reading& reading,
                                      const std::function<void()>& onRead)
{
    Input input = openInput(path, onRead);
    if (input.kind == Content::Kind::Fst) {
        return std::make_unique<FstRunReader>(path, std::move(input.source), inputName(path),
                                              reading.isLenient, onRead);
    }
    if (input.kind == Content::Kind::Ghw) {
        return std::make_unique<GhwRunReader>(std::move(input.source), inputName(path), onRead);
    }
    return std::make_unique<VcdRunReader>(std::move(input.source), inputName(path),
                                          reading.fractionDigits, reading.isLenient, onRead);
}

} // namespace

InputRun::InputRun(const std::string& path, Tracewell::IWdbWriter& writer, const MakeSink& makeSink,
                   Reading reading, const ReadHook& onRead)
    : m_fractionDigits(reading.fractionDigits)
{
    m_reader =
        openReader(path, reading, [this, onRead] { onRead(m_reader ? m_reader->progress() : 0); });
    m_layout = std::make_unique<DataLayout>(declarations());
    if (m_layout->totalSize() > kLargestMemory) {
        m_reader->refuse(
            fmt::format("the values of all variables take {} MB; at most {} can be kept: dump "
                        "fewer",
                        m_layout->totalSize() >> 20, kLargestMemory >> 20));
    }
    try {
        m_recorder = std::make_unique<SignalRecorder>(declarations(), *m_layout, writer, makeSink);
    } catch (const Failure& e) {
        m_reader->refuse(e.what());
    }
}

std::optional<int> InputRun::play(bool canBeginAnew, const TimeHook& beforeTime)
{
    RunChange change;
    while (m_reader->next(change)) {
        if (m_reader->neededFractionDigits() > m_fractionDigits) {
            if (!canBeginAnew) {
                m_reader->refuse("a time with a fraction, and the timescale cannot become finer on "
                                 "the way; import the VCD, export it, and take the export");
            }
            requireRepeatable();
            return findFractionDigits();
        }
        if (beforeTime && change.kind == RunChange::Kind::Time) {
            beforeTime(change.time);
        }
        apply(change);
    }
    return std::nullopt;
}

InputRun::Step InputRun::step()
{
    RunChange change;
    if (!m_reader->next(change)) {
        return Step::Ended;
    }
    if (m_reader->neededFractionDigits() > m_fractionDigits) {
        requireRepeatable();
        return Step::NeedsFinerTimes;
    }
    apply(change);
    return Step::Played;
}

void InputRun::requireRepeatable() const
{
    if (!m_reader->isRepeatable()) {
        m_reader->refuse("a time with a fraction: the timescale must become finer, so the input "
                         "must be read twice; give it as a file");
    }
}

void InputRun::apply(const RunChange& change)
{
    const std::string complaint = m_recorder->apply(change);
    if (!complaint.empty()) {
        refuse(complaint);
    }
}

/// What makes no sense may be left out; what the store cannot keep may not.
void InputRun::refuse(const std::string& complaint)
{
    if (!values().refusal().empty()) {
        m_reader->refuse(complaint);
    }
    m_reader->refuseValue(complaint);
}

int InputRun::findFractionDigits()
{
    RunChange change;
    while (m_reader->next(change)) {
    }
    const int needed = m_reader->neededFractionDigits();
    if (needed > kMostFractionDigits) {
        throw Failure(
            fmt::format("{}: times with {} decimals; at most {} can be kept, so round them",
                        m_reader->name(), needed, kMostFractionDigits));
    }
    return needed;
}

} // namespace tracewell
