// SPDX-License-Identifier: BSD-3-Clause

#include "import/VcdRun.h"

#include "formats/vcd/VcdDeclarations.h"
#include "input/InputFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

namespace tracewell {

namespace {

/// Decimals of a time beyond which no 64-bit count has room.
constexpr int kMostFractionDigits = 18;

} // namespace

VcdRun::VcdRun(const std::string& path, Tracewell::IWdbWriter& writer, const MakeSink& makeSink,
               Reading reading, const ReadHook& onRead)
    : m_input(openInput(path), inputName(path)), m_fractionDigits(reading.fractionDigits)
{
    m_input.setReadHook([this, onRead] { onRead(m_input); });
    m_declarations = readDeclarations(m_input, &m_isTableCutOff);
    if (m_fractionDigits > 0) {
        m_declarations.timescale.exponent -= m_fractionDigits;
        m_declarations.timescale.stated = true;
    }
    m_layout = std::make_unique<DataLayout>(m_declarations);
    if (m_layout->totalSize() > kLargestMemory) {
        m_input.fail(
            fmt::format("the values of all variables take {} MB; at most {} can be kept: dump "
                        "fewer",
                        m_layout->totalSize() >> 20, kLargestMemory >> 20));
    }
    try {
        m_recorder = std::make_unique<SignalRecorder>(m_declarations, *m_layout, writer, makeSink);
    } catch (const Failure& e) {
        m_input.fail(e.what());
    }
    m_reader = std::make_unique<VcdReader>(m_input, m_declarations.objects, m_fractionDigits,
                                           reading.isLenient);
}

std::optional<int> VcdRun::play(bool canBeginAnew, const TimeHook& beforeTime)
{
    VcdChange change;
    while (m_reader->next(change)) {
        if (m_reader->neededFractionDigits() > m_fractionDigits) {
            if (!canBeginAnew) {
                m_reader->refuse("a time with a fraction, and the timescale cannot become finer on "
                                 "the way; import the VCD, export it, and take the export");
            }
            requireRepeatable();
            return findFractionDigits();
        }
        if (beforeTime && change.kind == VcdChange::Kind::Time) {
            beforeTime(change.time);
        }
        apply(change);
    }
    return std::nullopt;
}

VcdRun::Step VcdRun::step()
{
    VcdChange change;
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

std::string VcdRun::shortfall(std::string_view done) const
{
    const std::string flaw = m_input.flaw();
    if (m_input.isShortened()) {
        return fmt::format("{}; everything before was {}", flaw, done);
    }
    std::string line;
    if (m_isTableCutOff || m_reader->isCutOff()) {
        line = fmt::format("line {}: the input is cut off inside {}; everything before was {}",
                           m_input.line(),
                           m_isTableCutOff ? "the declarations" : m_reader->cutPlace(), done);
    }
    if (!flaw.empty()) {
        line = line.empty() ? fmt::format("{}; they were left out", flaw)
                            : fmt::format("{}; {}, and were left out", line, flaw);
    }
    return line;
}

void VcdRun::requireRepeatable() const
{
    if (!m_input.isRepeatable()) {
        m_reader->refuse("a time with a fraction: the timescale must become finer, so the input "
                         "must be read twice; give it as a file");
    }
}

void VcdRun::apply(const VcdChange& change)
{
    const std::string complaint = m_recorder->apply(change);
    if (!complaint.empty()) {
        refuse(complaint);
    }
}

/// What makes no sense may be left out; what the store cannot keep may not.
void VcdRun::refuse(const std::string& complaint)
{
    if (!values().refusal().empty()) {
        m_reader->refuse(complaint);
    }
    m_reader->refuseValue(complaint);
}

int VcdRun::findFractionDigits()
{
    VcdChange change;
    while (m_reader->next(change)) {
    }
    const int needed = m_reader->neededFractionDigits();
    if (needed > kMostFractionDigits) {
        throw Failure(
            fmt::format("{}: times with {} decimals; at most {} can be kept, so round them",
                        m_input.name(), needed, kMostFractionDigits));
    }
    return needed;
}

} // namespace tracewell
