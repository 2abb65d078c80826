// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/LenientOption.h"
#include "commands/OptionValues.h"
#include "commands/ReadingEnd.h"
#include "commands/RunOrder.h"
#include "commands/WindowOptions.h"
#include "draw/RenderedPicture.h"
#include "files/Output.h"
#include "files/OutputSuffix.h"
#include "files/OutputText.h"
#include "files/ProgressBar.h"
#include "input/FileKind.h"
#include "stats/ActivityCounter.h"
#include "stats/HeatPicture.h"
#include "stats/SaifText.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/SignalSelection.h"
#include "wave/WaveFile.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace tracewell {

namespace {

constexpr unsigned int kHeatPixels = 1200;
constexpr std::size_t kMostHeatRows = 60;

enum class Order { Declared, Name, Changes, Rising, Falling, Zero, One, X, Z, First, Last };

struct Options
{
    std::string file;
    std::vector<std::string> signals;
    WindowOptions window;
    Order order = Order::Declared;
    bool json = false;
    bool csv = false;
    std::string saif;
    std::string heat;
    unsigned int width = kHeatPixels;
    bool isLenient = false;
    Reach reach = Reach::Whole;
};

/// A variable, and what it did.
struct Row
{
    Signal signal;
    std::size_t variable;
    std::size_t place;
    const SignalActivity* activity = nullptr;

    bool hasBits() const { return signal.valueKind->hasBits(); }
    /// Of the times by a + 2 b of a bit.
    unsigned long long time(std::size_t state) const { return activity->states.times[state]; }
};

/// The states in the order in which they are shown, by a + 2 b of a bit.
constexpr std::size_t kShownStates[] = {0, 1, 3, 2};
constexpr const char* kStateNames[] = {"0", "1", "x", "z"};

std::vector<Row> chooseRows(const Options& options, const SignalNames& names)
{
    std::vector<Signal> all = allSignals(names);
    std::vector<Row> rows;
    const auto take = [&](const Signal& signal, std::size_t variable) {
        rows.push_back({signal, variable, 0});
    };
    if (options.signals.empty()) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            take(all[i], i);
        }
        return rows;
    }
    std::unordered_map<std::string, std::size_t> places;
    for (std::size_t i = 0; i < all.size(); ++i) {
        places.emplace(all[i].label, i);
    }
    for (const Signal& signal : selectSignals(names, options.signals)) {
        const auto place = places.find(signal.label);
        if (place == places.end()) {
            throw Failure(fmt::format("{}: whole variables are counted; name {}", signal.label,
                                      signal.whole.empty() ? "one" : signal.whole));
        }
        take(signal, place->second);
    }
    return rows;
}

/// What a row is sorted by: the least comes first.
double keyOf(const Row& row, Order order)
{
    constexpr double kNever = std::numeric_limits<double>::infinity();
    const SignalActivity& activity = *row.activity;
    const auto most = [](unsigned long long count) { return -static_cast<double>(count); };
    switch (order) {
    case Order::Changes:
        return most(activity.changes);
    case Order::Rising:
        return most(activity.rising);
    case Order::Falling:
        return most(activity.falling);
    case Order::Zero:
        return most(row.time(0));
    case Order::One:
        return most(row.time(1));
    case Order::X:
        return most(row.time(3));
    case Order::Z:
        return most(row.time(2));
    case Order::First:
        return activity.firstChange ? static_cast<double>(*activity.firstChange) : kNever;
    case Order::Last:
        return activity.lastChange ? -static_cast<double>(*activity.lastChange) : kNever;
    default:
        return 0;
    }
}

void sortRows(std::vector<Row>& rows, Order order)
{
    if (order == Order::Name) {
        std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
            return a.signal.label < b.signal.label;
        });
    } else if (order != Order::Declared) {
        std::stable_sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) {
            return keyOf(a, order) < keyOf(b, order);
        });
    }
}

std::string shareOf(unsigned long long time, unsigned long long duration)
{
    return duration == 0 || time == 0 ? std::string(time == 0 ? "-" : "")
                                      : fmt::format("{:.1f} %", 100.0 * static_cast<double>(time) /
                                                                    static_cast<double>(duration));
}

void printTable(Output& out, const std::vector<Row>& rows, const TimeText& timeText,
                unsigned long long duration)
{
    using Align = ColumnFormat::Align;
    std::vector<std::vector<std::string>> cells;
    const auto timeOf = [&](const std::optional<long long>& time) {
        return time ? timeText.format(*time) : std::string("-");
    };
    for (const Row& row : rows) {
        const SignalActivity& activity = *row.activity;
        std::vector<std::string> line{row.signal.label, std::to_string(activity.changes)};
        line.push_back(row.hasBits() ? std::to_string(activity.rising) : "");
        line.push_back(row.hasBits() ? std::to_string(activity.falling) : "");
        for (const std::size_t state : kShownStates) {
            line.push_back(row.hasBits() ? shareOf(row.time(state), duration) : "");
        }
        line.push_back(timeOf(activity.firstChange));
        line.push_back(timeOf(activity.lastChange));
        cells.push_back(std::move(line));
    }
    out << formatTable({{"signal"},
                        {"changes", Align::Right},
                        {"rising", Align::Right},
                        {"falling", Align::Right},
                        {"at 0", Align::Right},
                        {"at 1", Align::Right},
                        {"at x", Align::Right},
                        {"at z", Align::Right},
                        {"first", Align::Right},
                        {"last", Align::Right}},
                       cells);
}

std::string numberOr(const std::optional<long long>& time, const char* none)
{
    return time ? std::to_string(*time) : none;
}

void printCsv(Output& out, const std::vector<Row>& rows)
{
    out << "name,kind,width,changes,rising,falling,time_0,time_1,time_x,time_z,first,last\n";
    for (const Row& row : rows) {
        const SignalActivity& activity = *row.activity;
        out << csvField(row.signal.label)
            << fmt::format(",{},{},{},", csvField(row.signal.kind), row.signal.width,
                           activity.changes);
        out << (row.hasBits() ? fmt::format("{},{}", activity.rising, activity.falling) : ",");
        for (const std::size_t state : kShownStates) {
            out << (row.hasBits() ? fmt::format(",{}", row.time(state)) : ",");
        }
        out << fmt::format(",{},{}\n", numberOr(activity.firstChange, ""),
                           numberOr(activity.lastChange, ""));
    }
}

void printJson(Output& out, const std::vector<Row>& rows, const TimeText& timeText, long long from,
               long long to)
{
    for (const Row& row : rows) {
        const SignalActivity& activity = *row.activity;
        out << fmt::format("{{\"name\":{},\"kind\":{},\"width\":{},\"changes\":{}",
                           jsonString(row.signal.label), jsonString(row.signal.kind),
                           row.signal.width, activity.changes);
        if (row.hasBits()) {
            out << fmt::format(",\"rising\":{},\"falling\":{},\"time\":{{", activity.rising,
                               activity.falling);
            const char* separator = "";
            for (std::size_t i = 0; i < std::size(kShownStates); ++i) {
                out << fmt::format("{}\"{}\":{}", separator, kStateNames[i],
                                   row.time(kShownStates[i]));
                separator = ",";
            }
            out << "}";
        } else {
            out << ",\"rising\":null,\"falling\":null,\"time\":null";
        }
        out << fmt::format(",\"first\":{},\"last\":{}}}\n", numberOr(activity.firstChange, "null"),
                           numberOr(activity.lastChange, "null"));
    }
    out << fmt::format("{{\"signals\":{},\"from\":{},\"to\":{},\"timescale\":{}}}\n", rows.size(),
                       from, to,
                       timeText.hasTimescale() ? jsonString(timeText.timescaleText()) : "null");
}

std::string saifOf(const Declarations& declarations, std::vector<Row> rows,
                   unsigned long long duration)
{
    std::sort(rows.begin(), rows.end(),
              [](const Row& a, const Row& b) { return a.variable < b.variable; });
    std::vector<SaifSignal> signals;
    for (const Row& row : rows) {
        if (row.hasBits() && row.signal.kind != "parameter") {
            signals.push_back({row.variable, row.activity});
        }
    }
    std::string text;
    writeSaif(declarations, signals, {TRACEWELL_VERSION, duration},
              [&](std::string_view piece) { text += piece; });
    return text;
}

HeatRow heatRow(const std::string& label, std::size_t slots)
{
    return {label, std::vector<unsigned long long>(slots, 0), 0};
}

/// A row for each signal, or, where they are too many, for each scope.
HeatPicture heatOf(const Options& options, const std::vector<Row>& rows,
                   const ActivityCounter& counter, const TimeText& timeText, long long from)
{
    HeatPicture picture;
    picture.title = printable(std::filesystem::path(options.file).filename().string());
    picture.timeText = timeText;
    picture.window.from = from;
    picture.window.to = std::max(counter.end(), from + 1);
    picture.slotLength = counter.slotLength();
    const std::size_t slots = std::min<std::size_t>(
        ActivityCounter::kSlots,
        static_cast<std::size_t>((picture.window.to - from) / counter.slotLength()) + 1);
    const bool areScopes = rows.size() > kMostHeatRows;
    std::map<std::string, std::size_t> places;
    for (const Row& row : rows) {
        std::string label = row.signal.label;
        if (areScopes) {
            label = row.signal.scope.substr(0, row.signal.scope.size() -
                                                   (row.signal.scope.empty() ? 0 : 1));
            label = label.empty() ? "(outside of scopes)" : label;
        }
        const auto [place, isNew] = places.emplace(label, picture.rows.size());
        if (isNew) {
            picture.rows.push_back(heatRow(label, slots));
        }
        HeatRow& heat = picture.rows[place->second];
        const std::vector<std::uint32_t>& counts = counter.slots(row.place);
        for (std::size_t slot = 0; slot < slots; ++slot) {
            heat.changes[slot] += counts[slot];
        }
        heat.total += row.activity->changes;
    }
    if (areScopes) {
        picture.note = fmt::format("{} by their scopes; name some to see them one by one.",
                                   counted(rows.size(), "signal"));
    }
    if (picture.rows.size() > kMostHeatRows) {
        std::vector<unsigned long long> totals;
        for (const HeatRow& row : picture.rows) {
            totals.push_back(row.total);
        }
        std::nth_element(totals.begin(), totals.begin() + kMostHeatRows, totals.end(),
                         std::greater<>());
        const unsigned long long least = totals[kMostHeatRows];
        const std::size_t scopes = picture.rows.size();
        picture.rows.erase(std::remove_if(picture.rows.begin(), picture.rows.end(),
                                          [&](const HeatRow& row) { return row.total <= least; }),
                           picture.rows.end());
        picture.note =
            fmt::format("{} of {} scopes, those with the most changes; name some signals "
                        "to see others.",
                        picture.rows.size(), scopes);
    }
    return picture;
}

/// Of a recording in columns most signals are counted one by one, on two threads, each with the
/// file opened for itself.
bool countAlone(const Options& options, const std::vector<Row>& rows,
                const Declarations& declarations, ActivityCounter& counter)
{
    if (isRun(options.file) || findFileKind(options.file) != FileKind::Columns) {
        return true;
    }
    std::vector<std::vector<Signal>> parts(2);
    std::vector<std::vector<std::uint32_t>> objects(2);
    std::unordered_set<std::size_t> taken;
    for (const Row& row : rows) {
        const std::size_t object = declarations.variables[row.variable].object;
        if (row.signal.width == declarations.objects[object].width && taken.insert(object).second) {
            const std::size_t part = taken.size() % 2;
            parts[part].push_back(row.signal);
            objects[part].push_back(static_cast<std::uint32_t>(object));
        }
    }
    const auto count = [&](std::size_t part) {
        const std::unique_ptr<WaveFile> file = WaveFile::open(options.file, options.reach);
        const auto values = file->values(parts[part]);
        for (std::size_t i = 0; i < objects[part].size(); ++i) {
            counter.countAlone(*values, i, objects[part][i]);
        }
        return file->shortfalls().empty();
    };
    std::future<bool> other = std::async(std::launch::async, count, 1);
    const bool isWhole = count(0);
    return other.get() && isWhole;
}

/// By the suffix of an output.
PictureFormat heatFormat(const std::string& output)
{
    const std::string suffix = checkSuffix(output, {".svg", ".png", ".pdf"});
    return suffix == ".png"   ? PictureFormat::Png
           : suffix == ".pdf" ? PictureFormat::Pdf
                              : PictureFormat::Svg;
}

void runOnce(const Options& options, const FinerTimes& finer)
{
    const std::unique_ptr<ChangeStream> changes =
        openInputRun(options.file, finer, options.isLenient, options.reach);
    SignalNames names(options.file);
    if (isRun(options.file)) {
        names.listIn(options.file);
    }
    names.take(changes->declarations());
    const TimeText& timeText = names.timeText();
    const TimeWindow window =
        options.window.window(timeText, std::numeric_limits<long long>::max());
    std::vector<Row> rows = chooseRows(options, names);
    ActivityOrder order;
    for (const Row& row : rows) {
        order.objects.push_back(
            static_cast<std::uint32_t>(names.declarations().variables[row.variable].object));
    }
    std::sort(order.objects.begin(), order.objects.end());
    order.objects.erase(std::unique(order.objects.begin(), order.objects.end()),
                        order.objects.end());
    for (Row& row : rows) {
        const auto object = names.declarations().variables[row.variable].object;
        row.place = static_cast<std::size_t>(
            std::lower_bound(order.objects.begin(), order.objects.end(), object) -
            order.objects.begin());
    }
    order.from = window.from;
    order.to = window.to;
    order.wantsBits = !options.saif.empty();
    order.wantsSlots = !options.heat.empty();
    auto counting = std::make_unique<ActivityCounter>(*changes, order);
    {
        ProgressBar bar("counting");
        if (!countAlone(options, rows, names.declarations(), *counting)) {
            counting = std::make_unique<ActivityCounter>(*changes, order);
        }
        counting->run([&](double fraction) { bar.update(fraction); });
    }
    const ActivityCounter& counter = *counting;
    for (Row& row : rows) {
        row.activity = &counter.activity(row.place);
    }
    const bool isWhole = changes->shortfalls().empty();
    const auto duration = static_cast<unsigned long long>(counter.end() - window.from);
    std::string ending;
    const auto writeFile = [&](const std::string& name, std::string text) {
        OutputText out(name, options.file);
        out.text() = std::move(text);
        ending += out.finish(isWhole);
    };
    if (!options.saif.empty()) {
        writeFile(options.saif, saifOf(names.declarations(), rows, duration));
    }
    if (!options.heat.empty()) {
        const std::string svg =
            drawHeat(heatOf(options, rows, counter, timeText, window.from), options.width);
        const PictureFormat format = heatFormat(options.heat);
        writeFile(options.heat,
                  format == PictureFormat::Svg ? svg : renderPicture(svg, format, options.heat));
    }
    sortRows(rows, options.order);
    if (options.json || options.csv || (options.saif.empty() && options.heat.empty())) {
        Output out;
        if (options.json) {
            printJson(out, rows, timeText, window.from, counter.end());
        } else if (options.csv) {
            printCsv(out, rows);
        } else {
            printTable(out, rows, timeText, duration);
        }
        out.finish();
    }
    finishReading(options.file, *changes, ending);
}

void run(const Options& options)
{
    if (!options.heat.empty()) {
        heatFormat(options.heat);
    }
    withFinerTimes([&](const FinerTimes& finer) { runOnce(options, finer); });
}

} // namespace

void addStatsCommand(CLI::App& app)
{
    constexpr unsigned int kNarrowest = 400;
    constexpr unsigned int kWidest = 20000;
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("stats", "Count what signals do: changes, shares, SAIF");
    command
        ->add_option("FILE", options->file,
                     "A wave database, or a VCD, FST or GHW file; - for "
                     "a VCD on the standard input")
        ->required();
    command->add_option("SIGNAL", options->signals,
                        "Full names (top.dut.data), scopes, or patterns with * and ?; all if none "
                        "is given");
    options->window.addTo(*command);
    addChoice(*command, "--sort", options->order,
              Choices<Order>{{"name", Order::Name},
                             {"changes", Order::Changes},
                             {"rising", Order::Rising},
                             {"falling", Order::Falling},
                             {"0", Order::Zero},
                             {"1", Order::One},
                             {"x", Order::X},
                             {"z", Order::Z},
                             {"first", Order::First},
                             {"last", Order::Last}},
              "The order of lines: most first, of first and last the earliest and the latest; that "
              "of declaration if not given");
    CLI::Option* const csv =
        command->add_flag("--csv", options->csv, "Comma-separated values, times as plain numbers");
    command->add_flag("--json", options->json, "JSON, a line for each signal, for programs")
        ->excludes(csv);
    command
        ->add_option("--saif", options->saif,
                     "Write the switching activity of each bit to this file, as backward SAIF; in "
                     "place of the table")
        ->type_name("OUT");
    command
        ->add_option("--heat", options->heat,
                     "Draw when signals change how often to this file, as SVG, PNG or PDF by its "
                     "suffix; in place of the table")
        ->type_name("OUT");
    command
        ->add_option("--width", options->width,
                     fmt::format("Width of that picture in pixels, {} to {}", kNarrowest, kWidest))
        ->type_name("PX")
        ->transform(wholeNumber(kNarrowest, kWidest))
        ->needs("--heat");
    addLenientOption(*command, options->isLenient);
    addBeyondOption(*command, options->reach);
    command->footer(
        "Examples:\n"
        "  tracewell stats run.wdb --sort changes | head\n"
        "  tracewell stats run.wdb top.dut --saif dut.saif --from 1us --to 5us\n"
        "Of a vector rising and falling are those of all its bits, and its time is at 0 while all\n"
        "bits are, at x while a bit is x, at z while one is z and none x, and else at 1. What has\n"
        "no value yet is at x; of nine states u w - are x, l is 0, h is 1.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
