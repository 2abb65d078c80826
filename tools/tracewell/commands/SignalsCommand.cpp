// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "files/Output.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

struct Options
{
    std::string file;
    std::string pattern;
    bool json = false;
};

std::vector<Signal> listSignals(const WaveFile& file, const std::string& pattern)
{
    if (!file.hasNames()) {
        throw Failure(fmt::format("{}: no signals can be listed, {}; `tracewell values` shows "
                                  "{}",
                                  file.path(), file.whyNoNames(), file.howToAskByPlace()));
    }
    return pattern.empty() ? allSignals(file) : selectSignals(file, {pattern});
}

/// Where a signal's value lies, and how much of it there is.
std::pair<long long, long long> placeOf(const Signal& signal, bool isByObject)
{
    return isByObject ? std::pair<long long, long long>(signal.firstId, signal.idCount)
                      : std::pair(signal.address, signal.size);
}

/// Direction and type have columns where a signal has them.
void printTable(Output& out, const std::vector<Signal>& signals, bool isByObject)
{
    using Align = ColumnFormat::Align;
    const auto any = [&](std::string Signal::*text) {
        return std::any_of(signals.begin(), signals.end(),
                           [&](const Signal& signal) { return !(signal.*text).empty(); });
    };
    const bool hasDirections = any(&Signal::direction);
    const bool hasTypes = any(&Signal::type);
    std::vector<ColumnFormat::Column> columns = {{"name"}, {"kind"}, {"width", Align::Right}};
    if (hasDirections) {
        columns.push_back({"direction"});
    }
    if (hasTypes) {
        columns.push_back({"type"});
    }
    columns.push_back({isByObject ? "id" : "address", Align::Right});
    columns.push_back({isByObject ? "objects" : "size", Align::Right});
    std::vector<std::vector<std::string>> rows;
    rows.reserve(signals.size());
    for (const Signal& signal : signals) {
        std::vector<std::string> row = {signal.label, signal.kind, std::to_string(signal.width)};
        if (hasDirections) {
            row.push_back(signal.direction);
        }
        if (hasTypes) {
            row.push_back(signal.type);
        }
        const auto [place, size] = placeOf(signal, isByObject);
        row.push_back(std::to_string(place));
        row.push_back(std::to_string(size));
        rows.push_back(std::move(row));
    }
    out << formatTable(columns, rows);
}

void printJson(Output& out, const std::vector<Signal>& signals, bool isByObject)
{
    out << "[";
    const char* separator = "\n";
    for (const Signal& signal : signals) {
        const auto [place, size] = placeOf(signal, isByObject);
        nlohmann::ordered_json entry = {{"name", signal.label},
                                        {"kind", signal.kind},
                                        {"width", signal.width},
                                        {isByObject ? "id" : "address", place},
                                        {isByObject ? "objects" : "size", size}};
        if (!signal.direction.empty()) {
            entry["direction"] = signal.direction;
        }
        if (!signal.type.empty()) {
            entry["type"] = signal.type;
        }
        if (signal.isSigned) {
            entry["signed"] = true;
        }
        if (signal.enumeration != nullptr) {
            std::map<std::string, std::string> values;
            for (const auto& [letters, name] : signal.enumeration->names) {
                values.emplace(letters, printable(name));
            }
            entry["values"] = values;
        }
        out << separator << entry.dump();
        separator = ",\n";
    }
    out << "\n]\n";
}

void run(const Options& options)
{
    const auto file = WaveFile::open(options.file);
    const std::vector<Signal> signals = listSignals(*file, options.pattern);
    const bool isByObject = file->places() == SignalNames::Places::Objects;
    Output out;
    if (options.json) {
        printJson(out, signals, isByObject);
    } else {
        printTable(out, signals, isByObject);
    }
    out.finish();
    if (const std::string unclosed = file->unclosedText(); !unclosed.empty()) {
        tell(fmt::format("{}: {}; the names are all there", options.file, unclosed));
    }
}

} // namespace

void addSignalsCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("signals", "List what was recorded, as declared");
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    command->add_option("GLOB", options->pattern,
                        "Only names that fit: * is any text, ? one character, all else itself");
    command->add_flag("--json", options->json, "JSON, for programs");
    command->footer("Example:\n"
                    "  tracewell signals run.wdb 'top.dut.*'\n"
                    "Address and size are bytes of the data memory; of a transition database the\n"
                    "first object's number and how many objects there are. Variables with one\n"
                    "name are told apart by #2, #3, ... behind it.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
