// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/RunOrder.h"
#include "files/OutputSuffix.h"

#include <CLI/App.hpp>

#include <memory>
#include <string>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    bool isLenient = false;
    Reach reach = Reach::Whole;
};

void run(const Options& options)
{
    const std::string suffix = checkSuffix(options.output, {".vcd", ".fst"});
    const RunOrder order{"export",
                         "exporting",
                         {options.input},
                         options.output,
                         suffix == ".fst" ? RunFormat::Fst : RunFormat::Vcd,
                         Store::Columns};
    makeRun(order, [&](const FinerTimes& finer) {
        return openInputRun(options.input, finer, options.isLenient, options.reach);
    });
}

} // namespace

void addExportCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("export", "Write a recording as a VCD or an FST");
    command->add_option("FILE", options->input, "The wave database, or a VCD, FST or GHW file")
        ->required();
    command
        ->add_option("OUT", options->output,
                     "The .vcd or .fst to make; - is the standard output and takes a VCD")
        ->required();
    addBeyondOption(*command, options->reach);
    addLenientOption(*command, options->isLenient);
    command->footer(
        "Example:\n"
        "  tracewell export run.wdb run.vcd\n"
        "  tracewell export run.wdb run.fst\n"
        "Variables, hierarchy and timescale are those of the import, and so are the identifier\n"
        "codes of a VCD; values are written when they change. The file of a killed writer is\n"
        "written up to the time to which it is whole. Of ports of an extended VCD an FST has the\n"
        "letters and not the strengths.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
