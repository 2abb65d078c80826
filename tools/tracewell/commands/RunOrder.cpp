// SPDX-License-Identifier: BSD-3-Clause

#include "commands/RunOrder.h"

#include "commands/ReadingEnd.h"
#include "commands/RecordingOrder.h"
#include "export/FstOutput.h"
#include "export/RecordingOutput.h"
#include "export/VcdOutput.h"
#include "files/Interrupt.h"
#include "files/OutputFile.h"
#include "files/OutputSuffix.h"
#include "files/Terminal.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <system_error>

namespace tracewell {

namespace {

unsigned long long sizeOf(const std::string& path)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

/// What lines about what the run lacks begin with.
const std::string& subjectOf(const RunOrder& order)
{
    return order.inputs.size() == 1 ? order.inputs.front() : order.output;
}

void writeVcd(const RunOrder& order, const OpenRun& open)
{
    const InterruptGuard interrupt;
    withFinerTimes([&](const FinerTimes& finer) {
        const std::unique_ptr<ChangeStream> changes = open(finer);
        VcdOutput output(order.output, order.inputs.front(), changes->declarations());
        const std::string ending = writeRun(*changes, output, order.progress, interrupt);
        finishReading(subjectOf(order), *changes, ending);
    });
}

void writeFile(const RunOrder& order, const OpenRun& open, OutputFile& file,
               SnapshotDirectory& directory, const InterruptGuard& interrupt)
{
    withFinerTimes([&](const FinerTimes& finer) {
        unsigned long long size = 0;
        for (const std::string& input : order.inputs) {
            size += sizeOf(input);
        }
        const std::unique_ptr<ChangeStream> changes = open(finer);
        std::unique_ptr<RunOutput> output;
        if (order.format == RunFormat::Fst) {
            output = std::make_unique<FstOutput>(file, changes->declarations());
        } else {
            output = std::make_unique<RecordingOutput>(file, directory, order.store,
                                                       changes->declarations(), size);
        }
        const std::string ending = writeRun(*changes, *output, order.progress, interrupt);
        for (const std::string& notice : changes->notices()) {
            tell(subjectOf(order) + ": " + notice);
        }
        if (isTerminal(StandardStream::Error) && !order.inputs.empty()) {
            tell(fmt::format("{}: {}, {:.1f} MB in {:.1f} MB", order.output,
                             counted(changes->declarations().variables.size(), "variable"),
                             static_cast<double>(size) / 1e6,
                             static_cast<double>(sizeOf(order.output)) / 1e6));
        }
        const std::vector<std::string> shortfalls = changes->shortfalls();
        if (!shortfalls.empty()) {
            throw DoneInPart(fmt::format("{}: {}{}", subjectOf(order), shortfalls.front(), ending));
        }
    });
}

} // namespace

RunFormat runFormatOf(const std::string& output)
{
    const std::string suffix = checkSuffix(output, {".vcd", ".fst", ".wdb"});
    return suffix == ".fst"   ? RunFormat::Fst
           : suffix == ".wdb" ? RunFormat::Database
                              : RunFormat::Vcd;
}

std::unique_ptr<ChangeStream> openInputRun(const std::string& path, const FinerTimes& finer,
                                           bool isLenient, Reach reach)
{
    const auto found = finer.find(path);
    return ChangeStream::openRun(path, found == finer.end() ? 0 : found->second, isLenient, reach);
}

void withFinerTimes(const std::function<void(const FinerTimes&)>& work)
{
    FinerTimes finer;
    for (;;) {
        try {
            work(finer);
            return;
        } catch (const FinerTimesNeeded& needed) {
            finer[needed.path] = needed.fractionDigits;
        }
    }
}

void makeRun(const RunOrder& order, const OpenRun& open)
{
    if (order.format == RunFormat::Vcd) {
        writeVcd(order, open);
        return;
    }
    makeRecording(
        {order.verb, order.inputs.empty() ? "" : order.inputs.front(), order.output,
         order.format == RunFormat::Fst ? std::nullopt : std::optional(order.store), false},
        [&](OutputFile& file, SnapshotDirectory& directory, const InterruptGuard& interrupt) {
            writeFile(order, open, file, directory, interrupt);
        });
}

} // namespace tracewell
