#include "CommandError.h"
#include "Commands.h"
#include "commands/BeyondOption.h"
#include "commands/RadixOption.h"
#include "commands/WindowOptions.h"
#include "draw/Picture.h"
#include "files/UnfinishedFile.h"
#include "text/Output.h"
#include "text/Terminal.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/SignalValues.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

namespace {

constexpr unsigned int kDefaultPixels = 1200;
constexpr unsigned int kDefaultColumns = 80;
/// Lanes that are drawn when nobody says which.
constexpr std::size_t kDefaultLanes = 40;

struct Options
{
    std::string file;
    std::vector<std::string> signals;
    WindowOptions window;
    RadixOption radix;
    unsigned int width = 0;
    std::string output;
    Reach reach = Reach::Whole;
};

std::vector<Signal> chooseSignals(const WaveFile& file, const Options& options, std::string& note)
{
    if (!options.signals.empty()) {
        return selectSignals(file, options.signals);
    }
    if (!file.hasNames()) {
        throw CommandError(fmt::format("{}: no signals can be listed, {}; name {}", file.path(),
                                       file.whyNoNames(), file.howToAskByPlace()));
    }
    std::vector<Signal> signals = allSignals(file);
    if (signals.size() > kDefaultLanes) {
        note = fmt::format("The first {} of {} signals; name others to see them.", kDefaultLanes,
                           signals.size());
        signals.resize(kDefaultLanes);
    }
    return signals;
}

void writeFile(const Options& options, const std::string& svg)
{
    checkOutput(options.file, options.output, OutputKind::Any);
    UnfinishedFile unfinished(options.output);
    errno = 0;
    std::ofstream out(options.output, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw CommandError(fmt::format("{}: cannot be created: {}; check the place and its "
                                       "permissions",
                                       options.output, std::strerror(errno)));
    }
    unfinished.start();
    out.write(svg.data(), static_cast<std::streamsize>(svg.size()));
    out.close();
    if (!out) {
        throw CommandError(fmt::format("{}: could not be written: {}; make room and try again",
                                       options.output, std::strerror(errno)));
    }
    unfinished.finish();
}

void run(const Options& options)
{
    const auto opened = WaveFile::open(options.file, options.reach);
    WaveFile& file = *opened;
    Picture picture;
    picture.title = std::filesystem::path(options.file).filename().string();
    picture.timeText = file.timeText();
    picture.window = options.window.window(file.timeText(), file.latestTime());
    // What holds at a single time still takes room to be seen.
    long long latest = file.latestTime();
    if (picture.window.to == picture.window.from) {
        latest += latest == picture.window.from ? 1 : 0;
        ++picture.window.to;
    }
    std::vector<Signal> signals = chooseSignals(file, options, picture.note);
    options.radix.apply(file, signals);
    const auto chosen = file.values(std::move(signals));
    const SignalValues& values = *chosen;
    if (!options.output.empty()) {
        const unsigned int width = options.width != 0 ? options.width : kDefaultPixels;
        fillLanes(picture, values, latest, svgWaveWidth(values.signals(), width), kSvgShortestText);
        const std::string svg = drawSvg(picture, width);
        if (options.output != "-") {
            writeFile(options, svg);
        } else {
            Output out;
            out << svg;
            out.finish();
        }
        finishReading(options.file, file);
        return;
    }
    const unsigned int columns =
        options.width != 0 ? options.width : terminalColumns(kDefaultColumns);
    fillLanes(picture, values, latest, textWaveWidth(values.signals(), columns), 1);
    Output out;
    out << drawText(picture, columns);
    out.finish();
    finishReading(options.file, file);
}

} // namespace

void addDrawCommand(CLI::App& app)
{
    constexpr unsigned int kNarrowest = 40;
    constexpr unsigned int kWidest = 20000;
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("draw", "Draw signals as a picture, or in the terminal");
    command->add_option("FILE", options->file, "A wave database")->required();
    command->add_option(
        "SIGNAL", options->signals,
        "Full names (top.dut.data), bits (top.bus[7:4]), scopes, patterns with * and ?, "
        "or @PLACE[:COUNT]; "
        "the first 40 signals if none is given");
    options->window.addTo(*command);
    command
        ->add_option("--width", options->width,
                     "Width of the picture in pixels, or in columns in the terminal")
        ->type_name("PX")
        ->check(CLI::Range(kNarrowest, kWidest));
    options->radix.addTo(*command, true);
    command
        ->add_option("-o,--output", options->output,
                     "Write the picture to this SVG file (- for the standard output); without it, "
                     "draw in the terminal")
        ->type_name("OUT.svg");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell draw run.wdb 'top.dut.*' --from 10us --to 12.5us -o run.svg\n"
                    "Stretches with more changes than there are pixels come out as bars. Hatched\n"
                    "is x (red) or u w - of nine states, a line in the middle is z, a dashed line\n"
                    "l or h. An arrow is the firing of an event.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
