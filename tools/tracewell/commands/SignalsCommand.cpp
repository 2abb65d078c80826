#include "CommandError.h"
#include "Commands.h"
#include "text/Output.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/WaveFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
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
        throw CommandError(fmt::format("{}: no signals can be listed, {}; ask for bytes by their "
                                       "address: tracewell values {} @ADDRESS:BYTES",
                                       file.path(), file.whyNoNames(), file.path()));
    }
    return pattern.empty() ? allSignals(file) : selectSignals(file, {pattern});
}

void printTable(Output& out, const std::vector<Signal>& signals)
{
    using Align = ColumnFormat::Align;
    std::vector<std::vector<std::string>> rows;
    rows.reserve(signals.size());
    for (const Signal& signal : signals) {
        rows.push_back({signal.label, signal.kind, std::to_string(signal.width),
                        std::to_string(signal.address), std::to_string(signal.size)});
    }
    out << formatTable({{"name"},
                        {"kind"},
                        {"width", Align::Right},
                        {"address", Align::Right},
                        {"size", Align::Right}},
                       rows);
}

void printJson(Output& out, const std::vector<Signal>& signals)
{
    out << "[";
    const char* separator = "\n";
    for (const Signal& signal : signals) {
        const nlohmann::ordered_json entry = {{"name", signal.label},
                                              {"kind", signal.kind},
                                              {"width", signal.width},
                                              {"address", signal.address},
                                              {"size", signal.size}};
        out << separator << entry.dump();
        separator = ",\n";
    }
    out << "\n]\n";
}

void run(const Options& options)
{
    const WaveFile file(options.file);
    const std::vector<Signal> signals = listSignals(file, options.pattern);
    Output out;
    if (options.json) {
        printJson(out, signals);
    } else {
        printTable(out, signals);
    }
    out.finish();
}

} // namespace

void addSignalsCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("signals", "List what was recorded, as declared");
    command->add_option("FILE", options->file, "A wave database")->required();
    command->add_option("GLOB", options->pattern,
                        "Only names that fit: * is any text, ? one character, all else itself");
    command->add_flag("--json", options->json, "JSON, for programs");
    command->footer("Example:\n"
                    "  tracewell signals run.wdb 'top.dut.*'\n"
                    "Address and size are bytes of the data memory. Variables with one name are\n"
                    "told apart by #2, #3, ... behind it.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
