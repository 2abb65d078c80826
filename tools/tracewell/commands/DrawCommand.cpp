// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/OptionValues.h"
#include "commands/RadixOption.h"
#include "commands/ReadingEnd.h"
#include "commands/WindowOptions.h"
#include "draw/Picture.h"
#include "draw/RenderedPicture.h"
#include "files/Output.h"
#include "files/OutputFile.h"
#include "files/OutputSuffix.h"
#include "files/OutputText.h"
#include "files/Terminal.h"
#include "text/Failure.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/SignalValues.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
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
    bool all = false;
    std::string output;
    Reach reach = Reach::Whole;
};

std::vector<Signal> chooseSignals(const WaveFile& file, const Options& options, std::string& note)
{
    if (!options.signals.empty()) {
        return selectSignals(file, options.signals);
    }
    if (!file.hasNames()) {
        throw Failure(fmt::format("{}: no signals can be listed, {}; name {}", file.path(),
                                  file.whyNoNames(), file.howToAskByPlace()));
    }
    std::vector<Signal> signals = allSignals(file);
    if (signals.empty()) {
        throw Failure(fmt::format("{}: there is nothing to draw, since its names have no signal; "
                                  "name {}",
                                  file.path(), file.howToAskByPlace()));
    }
    if (signals.size() > kDefaultLanes) {
        note = fmt::format("The first {} of {} signals; name others to see them.", kDefaultLanes,
                           signals.size());
        signals.resize(kDefaultLanes);
    }
    return signals;
}

/// A file that can be drawn; all have the measures of the SVG.
struct Form
{
    const char* suffix;
    std::string (*draw)(const Picture& picture, unsigned int width, const std::string& output);
};

std::string toSvg(const Picture& picture, unsigned int width, const std::string& /*output*/)
{
    return drawSvg(picture, width);
}

template <PictureFormat format>
std::string toRendered(const Picture& picture, unsigned int width, const std::string& output)
{
    return renderPicture(drawSvg(picture, width), format, output);
}

constexpr Form kForms[] = {{".svg", toSvg},
                           {".png", toRendered<PictureFormat::Png>},
                           {".pdf", toRendered<PictureFormat::Pdf>}};

const Form& formOf(const Options& options)
{
    if (options.output.empty()) {
        return kForms[0];
    }
    std::vector<std::string> suffixes;
    for (const Form& form : kForms) {
        suffixes.emplace_back(form.suffix);
    }
    const std::string suffix = checkSuffix(options.output, suffixes);
    // What cannot be made is refused before it is drawn.
    const OutputFile possible(options.output, OutputKind::Any, options.file);
    const auto* const form = std::find_if(std::begin(kForms), std::end(kForms),
                                          [&](const Form& each) { return suffix == each.suffix; });
    return form != std::end(kForms) ? *form : kForms[0];
}

TimeWindow chooseWindow(const Options& options, const WaveFile& file, long long& latest)
{
    TimeWindow window = options.window.window(file.timeText(), file.latestTime());
    // What comes up at the last of a few times still takes room to be seen.
    constexpr long long kFewTimes = 32;
    if (!options.window.isGiven() && window.to - window.from < kFewTimes) {
        ++latest;
        ++window.to;
    } else if (window.to == window.from) {
        if (window.to == std::numeric_limits<long long>::max()) {
            --window.from;
        } else {
            latest += latest == window.from ? 1 : 0;
            ++window.to;
        }
    }
    return window;
}

/// What was asked for and is not there; empty when all is.
std::string findMissing(const WaveFile& file, const SignalValues& values, const TimeWindow& window)
{
    if (window.from > file.latestTime()) {
        return fmt::format("{}: the recording ends at {}, before the stretch that is drawn; choose "
                           "an earlier --from",
                           file.path(), file.timeText().format(file.latestTime()));
    }
    for (std::size_t i = 0; i < values.signals().size(); ++i) {
        const Signal& signal = values.signals()[i];
        const bool isByPlace = signal.valueKind->isRaw();
        if (isByPlace && !values.nextChange(i, -1)) {
            return fmt::format("{}: nothing was recorded at {}; `tracewell info` tells what was",
                               file.path(), signal.label);
        }
    }
    return {};
}

/// In the whole of a run with too many changes there is nothing to be seen.
void showReadableStart(const Options& options, const SignalValues& values, Picture& picture,
                       long long latest, const PictureScale& scale)
{
    if (options.all || options.window.isGiven()) {
        return;
    }
    if (const auto window = findReadableStart(values, picture, latest, scale)) {
        picture.wholeEnd = latest;
        picture.window = *window;
    }
}

/// `hasAll` is whether everything that was asked for can be there. Answers what the output's end
/// has to say.
std::string drawFile(const Options& options, const Form& form, const WaveFile& file,
                     const SignalValues& values, bool hasAll, long long latest, Picture& picture)
{
    const unsigned int width = options.width != 0 ? options.width : kDefaultPixels;
    showReadableStart(options, values, picture, latest, svgScale(values.signals(), width));
    fillLanes(picture, values, latest, svgWaveWidth(values.signals(), width), kSvgShortestText);
    const std::string drawn = form.draw(picture, width, options.output);
    if (options.output != "-") {
        OutputText out(options.output, options.file);
        out.text() = drawn;
        return out.finish(hasAll && file.shortfalls().empty());
    }
    Output out;
    out << drawn;
    out.finish();
    return {};
}

void drawInTerminal(const Options& options, const SignalValues& values, long long latest,
                    Picture& picture)
{
    const unsigned int columns =
        options.width != 0 ? options.width : terminalColumns(kDefaultColumns);
    showReadableStart(options, values, picture, latest, textScale(values.signals(), columns));
    fillLanes(picture, values, latest, textWaveWidth(values.signals(), columns), 1);
    Output out;
    out << drawText(picture, columns);
    if (picture.wholeEnd) {
        out << fmt::format("{}; --all shows the whole, --from and --to another part.\n",
                           picture.rangeText());
    }
    out.finish();
}

void run(const Options& options)
{
    const Form& form = formOf(options);
    const auto opened = WaveFile::open(options.file, options.reach);
    WaveFile& file = *opened;
    long long latest = file.latestTime();
    Picture picture;
    picture.title = std::filesystem::path(options.file).filename().string();
    picture.timeText = file.timeText();
    picture.window = chooseWindow(options, file, latest);
    std::vector<Signal> signals = chooseSignals(file, options, picture.note);
    options.radix.apply(file, signals);
    const auto values = file.values(std::move(signals));
    const std::string missing = findMissing(file, *values, picture.window);
    std::string ending;
    if (options.output.empty()) {
        drawInTerminal(options, *values, latest, picture);
    } else {
        ending = drawFile(options, form, file, *values, missing.empty(), latest, picture);
    }
    finishReading(options.file, file, ending);
    if (!missing.empty()) {
        throw Failure(missing + ending);
    }
}

} // namespace

void addDrawCommand(CLI::App& app)
{
    constexpr unsigned int kNarrowest = 40;
    constexpr unsigned int kWidest = 20000;
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("draw", "Draw signals as a picture, or in the terminal");
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    command->add_option(
        "SIGNAL", options->signals,
        "Full names (top.dut.data), bits (top.bus[7:4]), scopes, patterns with * and ?, "
        "or @PLACE[:COUNT]; "
        "the first 40 signals if none is given");
    options->window.addTo(*command);
    command->add_flag("--all", options->all,
                      "Show the whole run, however dense; without it, and without --from and --to, "
                      "a run with too many changes is shown from its start as far as it is "
                      "readable");
    command
        ->add_option(
            "--width", options->width,
            fmt::format("Width of the picture in pixels, or in columns in the terminal; {} to {}",
                        kNarrowest, kWidest))
        ->type_name("PX")
        ->transform(wholeNumber(kNarrowest, kWidest));
    options->radix.addTo(*command, true);
    command
        ->add_option(
            "-o,--output", options->output,
            "Write the picture to this file, as SVG, PNG or PDF by its suffix (- for SVG on "
            "the standard output); without it, draw in the terminal")
        ->type_name("OUT")
        ->check(CLI::Validator(
            [](const std::string& name) {
                return name.empty() ? "the name of the output is empty; name a file" : "";
            },
            "", "output"));
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell draw run.wdb 'top.dut.*' --from 10us --to 12.5us -o run.svg\n"
                    "  tracewell draw run.wdb --radix hex --radix top.s16=signed,analog\n"
                    "Stretches with more changes than there are pixels come out as bars. Hatched\n"
                    "is x (red) or u w - of nine states, a line in the middle is z, a dashed line\n"
                    "l or h. An arrow is the firing of an event.");
    command->callback([options] {
        if (options->all && options->window.isGiven()) {
            throw CLI::ValidationError(
                "--all", "shows the whole run, so --from and --to contradict it; leave one out");
        }
        run(*options);
    });
}

} // namespace tracewell
