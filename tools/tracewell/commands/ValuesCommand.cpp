// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/RadixOption.h"
#include "commands/ReadingEnd.h"
#include "commands/WindowOptions.h"
#include "files/Output.h"
#include "text/Table.h"
#include "wave/SignalSelection.h"
#include "wave/SignalValues.h"
#include "wave/ValueRows.h"
#include "wave/ValueText.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace tracewell {

namespace {

struct Options
{
    std::string file;
    std::vector<std::string> signals;
    WindowOptions window;
    std::string resolution;
    RadixOption radix;
    bool csv = false;
    bool json = false;
    Reach reach = Reach::Whole;
};

/// Columns that a value of the signal takes as a rule; a line that needs more is still complete.
std::size_t usualWidth(const Signal& signal, const ValueText& valueText)
{
    if (signal.valueKind->usualColumns() != 0) {
        return signal.valueKind->usualColumns();
    }
    // The leftmost bit alone is as long as any value, with its sign if it has one.
    SignalState state;
    state.kind = SignalState::Kind::Value;
    state.plain.assign(static_cast<std::size_t>(signal.size), 0);
    if (signal.valueKind->hasBits() && !signal.valueKind->isLetter()) {
        const unsigned int bit = signal.width - 1;
        state.plain[bit / 32 * 8 + bit % 32 / 8] = static_cast<unsigned char>(1u << bit % 8);
    }
    return valueText.format(signal, state).size();
}

std::string timeTitle(const TimeText& timeText)
{
    return timeText.hasTimescale() ? fmt::format("time ({})", timeText.timescaleText()) : "time";
}

void printTable(Output& out, const WaveFile& file, const SignalValues& values,
                const TimeWindow& window, const ValueText& valueText, ValueRows& rows)
{
    std::vector<ColumnFormat::Column> columns;
    columns.push_back({timeTitle(file.timeText()), ColumnFormat::Align::Right,
                       std::to_string(std::min(window.to, file.latestTime())).size()});
    for (const Signal& signal : values.signals()) {
        columns.push_back({signal.label, ColumnFormat::Align::Left, usualWidth(signal, valueText)});
    }
    const ColumnFormat format(columns);
    out << format.titles();
    std::vector<std::string> line(columns.size());
    while (rows.next()) {
        line[0] = std::to_string(rows.time());
        for (std::size_t i = 0; i < rows.cells().size(); ++i) {
            line[i + 1] = rows.cells()[i].text;
        }
        out << format.line(line);
    }
}

void printCsv(Output& out, const SignalValues& values, ValueRows& rows)
{
    out << "time";
    for (const Signal& signal : values.signals()) {
        out << "," << csvField(signal.label);
    }
    out << "\n";
    while (rows.next()) {
        out << std::to_string(rows.time());
        for (const ValueRows::Cell& cell : rows.cells()) {
            out << "," << csvField(cell.text);
        }
        out << "\n";
    }
}

std::string jsonCell(const ValueRows::Cell& cell)
{
    if (cell.kind == SignalState::Kind::Dense) {
        return "{\"dense\":true}";
    }
    return cell.kind == SignalState::Kind::Blank ? "null" : jsonString(cell.text);
}

/// Written piece by piece, so that a long history is never held.
void printJson(Output& out, const WaveFile& file, const SignalValues& values, ValueRows& rows)
{
    out << "{\"file\":" << jsonString(file.path()) << ",\"timescale\":"
        << (file.timeText().hasTimescale() ? jsonString(file.timeText().timescaleText()) : "null")
        << ",\"signals\":[";
    const char* separator = "";
    for (const Signal& signal : values.signals()) {
        out << separator
            << fmt::format("{{\"name\":{},\"kind\":{},\"width\":{}}}", jsonString(signal.label),
                           jsonString(signal.kind), signal.width);
        separator = ",";
    }
    out << "],\"rows\":[";
    separator = "\n";
    while (rows.next()) {
        out << separator << fmt::format("{{\"time\":{},\"values\":[", rows.time());
        separator = "";
        for (const ValueRows::Cell& cell : rows.cells()) {
            out << separator << jsonCell(cell);
            separator = ",";
        }
        out << "]}";
        separator = ",\n";
    }
    out << "\n]}\n";
}

void run(const Options& options)
{
    const auto opened = WaveFile::open(options.file, options.reach);
    WaveFile& file = *opened;
    TimeWindow window = options.window.window(file.timeText(), file.latestTime());
    if (!options.resolution.empty()) {
        window.resolution =
            file.timeText().parse("--resolution", options.resolution, Rounding::Down);
    }
    std::vector<Signal> signals = selectSignals(file, options.signals);
    options.radix.apply(file, signals);
    const auto selected = file.values(std::move(signals));
    const SignalValues& values = *selected;
    const ValueText valueText([&](long long id) { return values.lookUp(id); });
    ValueRows rows(values, window, valueText);
    Output out;
    if (options.json) {
        printJson(out, file, values, rows);
    } else if (options.csv) {
        printCsv(out, values, rows);
    } else {
        printTable(out, file, values, window, valueText, rows);
    }
    out.finish();
    finishReading(options.file, file);
}

} // namespace

void addValuesCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("values", "Print the values of signals, a line for each time");
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    command
        ->add_option(
            "SIGNAL", options->signals,
            "Full names (top.dut.data), bits (top.bus[7:4]), scopes, patterns with * and ?, "
            "or @PLACE[:COUNT]")
        ->required();
    options->window.addTo(*command);
    command
        ->add_option("--resolution", options->resolution,
                     "Show changes that lie no further apart than this as dense")
        ->type_name("TIME")
        ->check(timeArgument());
    options->radix.addTo(*command);
    CLI::Option* csv = command->add_flag("--csv", options->csv, "Comma-separated values");
    command->add_flag("--json", options->json, "JSON, for programs")->excludes(csv);
    addBeyondOption(*command, options->reach);
    command->footer(
        "Example:\n"
        "  tracewell values run.wdb top.clk 'top.dut.*' --from 10us --to 12.5us\n"
        "@64:4 is 4 bytes from address 64 on; in a transition database, 4 objects from number 64 "
        "on.\n"
        "The first line is what holds at --from, with the time of the last change before it.\n"
        "A blank is a signal without a value yet, ~~~~ a stretch with more changes than the\n"
        "resolution shows. Letters: x z, of nine-state signals also u w l h -; a capital X or Z\n"
        "is a digit that is so in part. ! marks the firing of an event.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
