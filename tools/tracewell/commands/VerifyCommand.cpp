// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "files/Output.h"
#include "files/ProgressBar.h"
#include "survey/Survey.h"
#include "text/Counted.h"
#include "text/Utf8.h"

#include <CLI/App.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDamaged = 1;

struct Options
{
    std::string file;
    bool json = false;
};

std::string timeText(const Survey& survey, long long time)
{
    return survey.timeText.format(time);
}

/// Of a recording that was never closed: what can be relied on. Empty for one that was.
std::string endingText(const Survey& survey)
{
    if (survey.transitions || (!survey.eventHeader && !survey.columns) ||
        survey.ending == Survey::Ending::Closed) {
        return {};
    }
    if (survey.ending == Survey::Ending::Unknown) {
        return "no event behind time 0 can be found, so it cannot be told whether the writer "
               "closed "
               "this file";
    }
    const Wholeness& wholeness = survey.wholeness;
    std::string text = "the writer never closed this file; it is ";
    text += wholeness.upTo < 0
                ? "not known to be whole up to any time"
                : fmt::format("whole up to time {}", timeText(survey, wholeness.upTo));
    if (wholeness.emptyBuckets > 0) {
        text += fmt::format("; {} {} written to and {} no event yet", wholeness.emptyBuckets,
                            wholeness.emptyBuckets == 1 ? "bucket was" : "buckets were",
                            wholeness.emptyBuckets == 1 ? "lists" : "list");
    } else if (wholeness.bucket >= 0) {
        text += fmt::format(", just before bucket {} ends (which may not have changed since)",
                            wholeness.bucket);
    }
    text += survey.eventsBehind == 0
                ? "; lost: all that was recorded behind that"
                : fmt::format("; lost: what was recorded behind that, but for {} up to time {}",
                              counted(survey.eventsBehind, "event"),
                              timeText(survey, survey.latestEvent));
    return text;
}

void printFindings(Output& out, const Survey& survey)
{
    for (const Finding& finding : survey.findings.all()) {
        const bool damage = finding.severity == Finding::Severity::Damage;
        out << fmt::format("{}: {}: {}", damage ? "damage" : "notice",
                           printable(finding.place.text()), printable(finding.what));
        out << (finding.lost.empty() ? "\n" : fmt::format("; lost: {}\n", finding.lost));
    }
    const unsigned long long told = survey.findings.all().size();
    const unsigned long long found = survey.findings.damages() + survey.findings.notices();
    if (found > told) {
        out << counted(found - told, "more finding is", "more findings are") + " not listed\n";
    }
}

/// Of what is no finding in a place of the file.
std::vector<std::string> noticesOf(const Survey& survey)
{
    std::vector<std::string> notices;
    if (std::string ending = endingText(survey); !ending.empty()) {
        notices.push_back(std::move(ending));
    }
    if (survey.unclaimedBytes > 0) {
        notices.push_back(fmt::format(
            "{} to nothing{}", counted(survey.unclaimedBytes, "byte belongs", "bytes belong"),
            survey.ending == Survey::Ending::NeverClosed && !survey.transitions
                ? "; blocks that were stored and not listed yet"
                : ""));
    }
    return notices;
}

void printText(Output& out, const std::string& path, const Survey& survey)
{
    printFindings(out, survey);
    for (const std::string& notice : noticesOf(survey)) {
        out << "notice: " << notice << "\n";
    }
    if (survey.transitions) {
        out << fmt::format("{}: {}, {}, {}, {}\n", printable(path),
                           counted(survey.transitions->objects, "object"),
                           counted(survey.transitions->blocks, "block"),
                           counted(survey.transitions->transitions, "transition"),
                           counted(survey.transitions->initialValues, "initial value"));
    } else if (survey.columns) {
        out << fmt::format(
            "{}: {}, {}, {}, {}, {}\n", printable(path), counted(survey.sections.size(), "section"),
            counted(survey.columns->segments + survey.columns->shortSegments, "segment"),
            counted(survey.columns->fields, "field"), counted(survey.columns->changes, "change"),
            counted(survey.strings, "string"));
    } else {
        out << fmt::format("{}: {}, {} in use, {}, {}, {}\n", printable(path),
                           counted(survey.sections.size(), "section"),
                           counted(survey.bucketsInUse, "bucket"), counted(survey.blocks, "block"),
                           counted(survey.events, "event"), counted(survey.strings, "string"));
    }
    out << (survey.findings.damages() == 0
                ? "sound\n"
                : fmt::format("damaged in {}\n", counted(survey.findings.damages(), "place")));
}

Json findingJson(const Finding& finding)
{
    Json json = {{"severity", finding.severity == Finding::Severity::Damage ? "damage" : "notice"},
                 {"section", printable(finding.place.section)}};
    const auto addNumber = [&](const char* name, long long value) {
        if (value >= 0) {
            json[name] = value;
        }
    };
    addNumber("bucket", finding.place.bucket);
    addNumber("object", finding.place.object);
    addNumber("node", finding.place.node);
    addNumber("block", finding.place.block);
    addNumber("blockSize", finding.place.blockSize);
    addNumber("record", finding.place.record);
    addNumber("byte", finding.place.byte);
    json["what"] = printable(finding.what);
    if (!finding.lost.empty()) {
        json["lost"] = printable(finding.lost);
    }
    return json;
}

void printJson(Output& out, const std::string& path, const Survey& survey)
{
    const bool neverClosed = survey.ending == Survey::Ending::NeverClosed;
    const std::vector<std::string> notices = noticesOf(survey);
    Json json = {{"file", printable(path)},
                 {"sound", survey.findings.damages() == 0},
                 {"damages", survey.findings.damages()},
                 {"notices", survey.findings.notices() + notices.size()},
                 {"closed", survey.ending == Survey::Ending::Unknown ? Json() : Json(!neverClosed)},
                 {"wholeUpTo", neverClosed && !survey.transitions && survey.wholeness.upTo >= 0
                                   ? Json(survey.wholeness.upTo)
                                   : Json()},
                 {"emptyBuckets", survey.wholeness.emptyBuckets},
                 {"eventsBehind", neverClosed ? survey.eventsBehind : 0},
                 {"latestEvent", survey.latestEvent},
                 {"latestTime", survey.latestTime()},
                 {"unclaimedBytes", survey.unclaimedBytes},
                 {"sections", survey.sections.size()}};
    if (survey.transitions) {
        json["objects"] = survey.transitions->objects;
        json["blocks"] = survey.transitions->blocks;
        json["transitions"] = survey.transitions->transitions;
        json["initialValues"] = survey.transitions->initialValues;
    } else if (survey.columns) {
        json["segments"] = survey.columns->segments;
        json["shortSegments"] = survey.columns->shortSegments;
        json["fields"] = survey.columns->fields;
        json["changes"] = survey.columns->changes;
        json["strings"] = survey.strings;
    } else {
        json["bucketsInUse"] = survey.bucketsInUse;
        json["blocks"] = survey.blocks;
        json["events"] = survey.events;
        json["strings"] = survey.strings;
    }
    json["findings"] = Json::array();
    for (const Finding& finding : survey.findings.all()) {
        json["findings"].push_back(findingJson(finding));
    }
    for (const std::string& notice : notices) {
        json["findings"].push_back({{"severity", "notice"}, {"what", notice}});
    }
    out << json.dump(2) << "\n";
}

void run(const Options& options)
{
    Survey survey;
    {
        ProgressBar bar("verifying");
        survey = surveyFile(options.file, [&](double fraction) { bar.update(fraction); });
    }
    Output out;
    if (options.json) {
        printJson(out, options.file, survey);
    } else {
        printText(out, options.file, survey);
    }
    out.finish();
    if (survey.findings.damages() > 0) {
        throw CLI::RuntimeError(kDamaged);
    }
}

} // namespace

void addVerifyCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("verify", "Read everything in a wave database and tell what is damaged");
    command->add_option("FILE", options->file, "A wave database")->required();
    command->add_flag("--json", options->json, "JSON, for programs");
    command->footer(
        "Example:\n"
        "  tracewell verify run.wdb && echo sound\n"
        "Exit code 0 for a sound file, also for one of events whose writer was killed; 1\n"
        "when something in it is damaged, or when it is a transition database that was\n"
        "never finished. Each damage is told with its place: section, bucket or object,\n"
        "offset of node and block in the file, record, and byte in the unpacked block.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
