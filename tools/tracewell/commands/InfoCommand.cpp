// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "commands/ReadingEnd.h"
#include "files/Output.h"
#include "files/ProgressBar.h"
#include "input/FileKind.h"
#include "input/InputFile.h"
#include "survey/Survey.h"
#include "text/Counted.h"
#include "text/Table.h"
#include "text/Utf8.h"
#include "wave/WaveFile.h"

#include "WdbEventBlockDatabaseFactory.h"

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tracewell {

namespace {

using Json = nlohmann::ordered_json;
using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbFileHeader;

struct Options
{
    std::string file;
    bool json = false;
};

std::string versionText(const WdbFileHeader& header)
{
    return printable(
        std::string_view(header.m_version, strnlen(header.m_version, WdbFileHeader::kTextSize)));
}

/// The header keeps the low 32 bits of the seconds since 1970.
std::string creationText(const WdbFileHeader& header)
{
    if (header.m_creationTime == -1) {
        return "unknown";
    }
    const auto seconds =
        static_cast<std::time_t>(static_cast<std::uint32_t>(header.m_creationTime));
    return fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(seconds));
}

std::string databaseText(int type)
{
    switch (type) {
    case WdbEventBlockDatabaseFactory::kSingleBucket:
        return fmt::format("{} (one list for all addresses)", type);
    case WdbEventBlockDatabaseFactory::kMultipleBucket:
        return fmt::format("{} (a list for each bucket of addresses)", type);
    case WdbEventBlockDatabaseFactory::kMultipleBucketBtree:
        return fmt::format("{} (an index by time for each bucket of addresses)", type);
    default:
        return fmt::format("{} (not known)", type);
    }
}

std::string timeText(const Survey& survey, long long time)
{
    return survey.timeText.hasTimescale()
               ? fmt::format("{} ({})", time, survey.timeText.format(time))
               : std::to_string(time);
}

std::string endingText(const Survey& survey)
{
    switch (survey.ending) {
    case Survey::Ending::Closed:
        return "yes";
    case Survey::Ending::NeverClosed:
        return survey.transitions ? "no; nothing in it can be found"
               : survey.wholeness.upTo < 0
                   ? "no; not known to be whole up to any time"
                   : fmt::format("no; whole up to time {}, single events to {}",
                                 timeText(survey, survey.wholeness.upTo),
                                 timeText(survey, survey.latestEvent));
    case Survey::Ending::Unknown:
        break;
    }
    return "cannot be told, there is no event behind time 0";
}

const char* endingName(Survey::Ending ending)
{
    switch (ending) {
    case Survey::Ending::Closed:
        return "yes";
    case Survey::Ending::NeverClosed:
        return "no";
    case Survey::Ending::Unknown:
        break;
    }
    return "unknown";
}

void printLines(Output& out, const std::vector<std::vector<std::string>>& lines)
{
    for (const std::vector<std::string>& line : lines) {
        out << fmt::format("{:<13} {}\n", line[0], line[1]);
    }
}

void addEventLines(std::vector<std::vector<std::string>>& lines, const Survey& survey)
{
    const Tracewell::WdbEventDatabaseHeader& header = *survey.eventHeader;
    lines.push_back({"latest time", timeText(survey, survey.latestTime())});
    lines.push_back({"database", databaseText(header.m_databaseTypeId)});
    lines.push_back(
        {"buckets", fmt::format("{} of {}, {} in use", header.m_numberOfBuckets,
                                counted(header.m_bucketDivision, "address", "addresses"),
                                survey.bucketsInUse)});
    lines.push_back({"address size", counted(header.m_addressSize, "byte")});
    lines.push_back({"event blocks", std::to_string(survey.blocks)});
    lines.push_back({"events", std::to_string(survey.events)});
}

void addColumnLines(std::vector<std::vector<std::string>>& lines, const Survey& survey)
{
    const ColumnFacts& facts = *survey.columns;
    lines.push_back({"latest time", timeText(survey, survey.latestTime())});
    lines.push_back({"database", "columns"});
    lines.push_back({"fields", std::to_string(facts.fields)});
    lines.push_back(
        {"segments", fmt::format("{} in {}", facts.segments, counted(facts.bytes, "byte"))});
    if (facts.shortSegments > 0) {
        lines.back()[1] += fmt::format(", and {} that the next one takes in", facts.shortSegments);
    }
    if (facts.freeBytes > 0) {
        lines.push_back({"given up", counted(facts.freeBytes, "byte")});
    }
    lines.push_back({"changes", std::to_string(facts.changes)});
}

void addTransitionLines(std::vector<std::vector<std::string>>& lines, const Survey& survey)
{
    const Survey::Transitions& facts = *survey.transitions;
    if (survey.ending == Survey::Ending::NeverClosed) {
        return;
    }
    lines.push_back({"latest time", timeText(survey, facts.latestTime)});
    lines.push_back({"objects", fmt::format("{} with a history, {} with a value at time 0 alone",
                                            facts.objects, facts.constants)});
    lines.push_back(
        {"initial", fmt::format("{} at time 0", counted(facts.initialValues, "value"))});
    lines.push_back(
        {"tree nodes", fmt::format("{}, {} of them leaves", facts.nodes, facts.blocks)});
    lines.push_back(
        {"blocks", fmt::format("{} in {}: {} periodic ({} with no bytes), {} of 64-bit words",
                               facts.blocks, counted(facts.blockBytes, "byte"),
                               facts.periodicBlocks, facts.emptyBlocks, facts.wideBlocks)});
    lines.push_back({"transitions", std::to_string(facts.transitions)});
}

void printSections(Output& out, const Survey& survey)
{
    using Align = ColumnFormat::Align;
    std::vector<ColumnFormat::Column> columns = {
        {"section"}, {"version", Align::Right}, {"offset", Align::Right}, {"size", Align::Right}};
    std::vector<std::vector<std::string>> rows;
    for (const Survey::Section& section : survey.sections) {
        rows.push_back({section.id, std::to_string(section.version), std::to_string(section.offset),
                        std::to_string(section.size)});
    }
    // Those of a transition database have no versions.
    if (survey.transitions) {
        columns.erase(columns.begin() + 1);
        for (std::vector<std::string>& row : rows) {
            row.erase(row.begin() + 1);
        }
    }
    out << "\n" << formatTable(columns, rows);
}

void printText(Output& out, const std::string& path, const Survey& survey)
{
    std::vector<std::vector<std::string>> lines;
    lines.push_back(
        {"file", fmt::format("{} ({})", printable(path), counted(survey.fileSize, "byte"))});
    if (survey.transitions) {
        lines.push_back({"version", "transition database"});
    } else {
        lines.push_back({"version", versionText(survey.header)});
        lines.push_back({"application", printable(survey.header.getApplication())});
        lines.push_back({"created", creationText(survey.header)});
    }
    lines.push_back({"closed", endingText(survey)});
    if (survey.hasNames) {
        lines.push_back({"timescale", survey.timeText.timescaleText() +
                                          (survey.names.timescale.stated ? "" : " (assumed)")});
    }
    if (survey.eventHeader) {
        addEventLines(lines, survey);
    }
    if (survey.columns) {
        addColumnLines(lines, survey);
    }
    if (survey.transitions) {
        addTransitionLines(lines, survey);
    } else {
        lines.push_back({"strings", survey.hasStringMap ? std::to_string(survey.strings) : "none"});
    }
    lines.push_back(
        {"signals", survey.hasNames
                        ? fmt::format("{} of {}", counted(survey.names.variables.size(), "name"),
                                      counted(survey.names.objects.size(), "object"))
                        : "no name table"});
    if (survey.findings.damages() > 0) {
        lines.push_back(
            {"damage", fmt::format("{}; see: tracewell verify {}",
                                   counted(survey.findings.damages(), "place"), printable(path))});
    }
    printLines(out, lines);
    printSections(out, survey);
}

Json sectionsJson(const Survey& survey)
{
    Json sections = Json::array();
    for (const Survey::Section& section : survey.sections) {
        Json entry = {{"id", section.id}};
        if (!survey.transitions) {
            entry["version"] = section.version;
        }
        entry["offset"] = section.offset;
        entry["size"] = section.size;
        sections.push_back(entry);
    }
    return sections;
}

void printJson(Output& out, const std::string& path, const Survey& survey)
{
    Json json = {{"file", printable(path)}, {"fileSize", survey.fileSize}};
    if (survey.transitions) {
        json["version"] = "transition database";
    } else {
        json["version"] = versionText(survey.header);
        json["application"] = printable(survey.header.getApplication());
        json["created"] = survey.header.m_creationTime == -1
                              ? Json()
                              : Json(static_cast<std::uint32_t>(survey.header.m_creationTime));
    }
    json["closed"] = endingName(survey.ending);
    json["timescale"] = survey.hasNames ? Json(survey.timeText.timescaleText()) : Json();
    if (survey.eventHeader) {
        json["latestTime"] = survey.latestTime();
        json["databaseType"] = survey.eventHeader->m_databaseTypeId;
        json["buckets"] = survey.eventHeader->m_numberOfBuckets;
        json["bucketsInUse"] = survey.bucketsInUse;
        json["bucketDivision"] = survey.eventHeader->m_bucketDivision;
        json["addressSize"] = survey.eventHeader->m_addressSize;
        json["eventBlocks"] = survey.blocks;
        json["events"] = survey.events;
    }
    if (survey.columns) {
        const ColumnFacts& facts = *survey.columns;
        json["latestTime"] = survey.latestTime();
        json["fields"] = facts.fields;
        json["segments"] = facts.segments;
        json["shortSegments"] = facts.shortSegments;
        json["segmentBytes"] = facts.bytes;
        json["freeBytes"] = facts.freeBytes;
        json["changes"] = facts.changes;
    }
    if (survey.transitions) {
        const Survey::Transitions& facts = *survey.transitions;
        json["latestTime"] = facts.latestTime;
        json["limit"] = facts.limit;
        json["transitionObjects"] = facts.objects;
        json["constantObjects"] = facts.constants;
        json["treeNodes"] = facts.nodes;
        json["blocks"] = facts.blocks;
        json["blockBytes"] = facts.blockBytes;
        json["periodicBlocks"] = facts.periodicBlocks;
        json["emptyBlocks"] = facts.emptyBlocks;
        json["wideBlocks"] = facts.wideBlocks;
        json["transitions"] = facts.transitions;
        json["initialValues"] = facts.initialValues;
    } else {
        json["strings"] = survey.strings;
    }
    json["signals"] = survey.names.variables.size();
    json["objects"] = survey.names.objects.size();
    json["damages"] = survey.findings.damages();
    json["sections"] = sectionsJson(survey);
    out << json.dump(2) << "\n";
}

/// Of a run in a format of others.
struct RunFacts
{
    std::string format;
    unsigned long long size = 0;
    const WaveFile& file;
};

void printText(Output& out, const std::string& path, const RunFacts& run)
{
    const Declarations& names = run.file.declarations();
    const TimeText& time = run.file.timeText();
    std::vector<std::vector<std::string>> lines = {
        {"file", fmt::format("{} ({} bytes)", printable(path), run.size)},
        {"format", run.format},
    };
    if (!names.version.empty()) {
        lines.push_back({"made by", printable(names.version)});
    }
    if (!names.date.empty()) {
        lines.push_back({"date", printable(names.date)});
    }
    lines.push_back({"timescale", time.timescaleText()});
    lines.push_back({"latest time", fmt::format("{} ({})", run.file.latestTime(),
                                                time.format(run.file.latestTime()))});
    lines.push_back({"signals", fmt::format("{} of {}", counted(names.variables.size(), "name"),
                                            counted(names.objects.size(), "object"))});
    lines.push_back({"scopes", std::to_string(names.scopes.size())});
    printLines(out, lines);
}

void printJson(Output& out, const std::string& path, const RunFacts& run)
{
    const Declarations& names = run.file.declarations();
    const Json json = {{"file", printable(path)},
                       {"fileSize", run.size},
                       {"format", run.format},
                       {"madeBy", printable(names.version)},
                       {"date", printable(names.date)},
                       {"timescale", run.file.timeText().timescaleText()},
                       {"latestTime", run.file.latestTime()},
                       {"signals", names.variables.size()},
                       {"objects", names.objects.size()},
                       {"scopes", names.scopes.size()}};
    out << json.dump(2) << "\n";
}

/// "VCD", "FST file packed by gzip".
std::string formatOf(const std::string& path)
{
    const Content content = contentOf(unpackedHead(path));
    const std::string_view name = content.name;
    const Packing* const packing = packingOf(path);
    const std::string_view withoutArticle = name.substr(std::min(name.find(' ') + 1, name.size()));
    return std::string(withoutArticle) +
           (packing != nullptr ? std::string(" packed by ") + packing->name : "");
}

void tellOfRun(const Options& options)
{
    const std::unique_ptr<WaveFile> file = WaveFile::open(options.file);
    std::error_code ignored;
    const auto size = std::filesystem::file_size(options.file, ignored);
    const RunFacts facts{formatOf(options.file), ignored ? 0 : size, *file};
    Output out;
    options.json ? printJson(out, options.file, facts) : printText(out, options.file, facts);
    out.finish();
    finishReading(options.file, *file);
}

void run(const Options& options)
{
    if (isRun(options.file)) {
        tellOfRun(options);
        return;
    }
    ProgressBar bar("reading");
    const Survey survey = surveyFile(options.file, [&](double fraction) { bar.update(fraction); });
    Output out;
    if (options.json) {
        printJson(out, options.file, survey);
    } else {
        printText(out, options.file, survey);
    }
    out.finish();
    const bool isUnfinished = survey.transitions && survey.ending == Survey::Ending::NeverClosed;
    if (survey.findings.damages() > 0 && !isUnfinished) {
        std::cerr << fmt::format("tracewell: {}: damaged in {} place{}; tracewell verify tells "
                                 "more\n",
                                 printable(options.file), survey.findings.damages(),
                                 survey.findings.damages() == 1 ? "" : "s");
        throw CLI::RuntimeError(1);
    }
}

} // namespace

void addInfoCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("info", "Tell what a recording holds");
    command->add_option("FILE", options->file, "A wave database, or a VCD, FST or GHW file")
        ->required();
    command->add_flag("--json", options->json, "JSON, for programs");
    command->footer("Example:\n"
                    "  tracewell info run.wdb");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
