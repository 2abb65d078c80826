// SPDX-License-Identifier: BSD-3-Clause

#include "changes/RecordingPacker.h"
#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/RecordingOutput.h"
#include "commands/StoreOption.h"
#include "files/OutputFile.h"
#include "files/Terminal.h"
#include "text/Counted.h"
#include "text/Message.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace tracewell {

namespace {

struct Options
{
    std::string input;
    std::string output;
    Reach reach = Reach::Whole;
    Store store = Store::Columns;
};

void summarize(const Options& options, const OutputFile& output, const RecordingPacker& packer)
{
    std::error_code ignored;
    const auto before = std::filesystem::file_size(options.input, ignored);
    const auto after = std::filesystem::file_size(output.path(), ignored);
    tell(fmt::format("{}: {} of {}, {:.1f} MB in {:.1f} MB", options.output,
                     counted(packer.changeCount(), "change"),
                     counted(packer.variableCount(), "variable"), static_cast<double>(before) / 1e6,
                     static_cast<double>(after) / 1e6));
}

void run(const Options& options)
{
    makeRecording(
        {"pack", options.input, options.output, options.store, false},
        [&](OutputFile& output, SnapshotDirectory& directory, const InterruptGuard& interrupt) {
            RecordingPacker packer(options.input, options.reach, options.store);
            packer.run(output, directory, interrupt);
            if (isTerminal(StandardStream::Error)) {
                summarize(options, output, packer);
            }
        });
}

} // namespace

void addPackCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("pack", "Record a recording anew, in columns or another store");
    command->add_option("IN.wdb", options->input, "The wave database, whatever its store")
        ->required();
    command->add_option("OUT.wdb", options->output, "The wave database to make")->required();
    addChoice(*command, kStoreOption, options->store,
              Choices<Store>{{"columns", Store::Columns},
                             {"events", Store::Events},
                             {"indexed", Store::Indexed},
                             {"transitions", Store::Transitions}},
              "What to keep the recording in; columns if not given");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell pack run.wdb small.wdb\n"
                    "The histories of all signals are the same in both. What the killed writer of "
                    "the input\n"
                    "left is packed up to the time to which it is whole.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
