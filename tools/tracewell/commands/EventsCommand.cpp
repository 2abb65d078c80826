// SPDX-License-Identifier: BSD-3-Clause

#include "commands/BeyondOption.h"
#include "commands/Commands.h"
#include "commands/OptionValues.h"
#include "commands/ReadingEnd.h"
#include "files/Output.h"
#include "files/ProgressBar.h"
#include "files/Terminal.h"
#include "text/Failure.h"
#include "text/Table.h"
#include "wave/EventWaveFile.h"

#include "WdbEventBlockDatabaseFactory.h"
#include "WdbIEventBlockDatabase.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

namespace {

using Tracewell::WdbEvent;
using Tracewell::WdbEventBlock;
using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbEventDatabaseHeader;
using Tracewell::WdbIEventBlockDatabase;

struct Options
{
    std::string file;
    std::optional<unsigned int> bucket;
    bool json = false;
    Reach reach = Reach::Whole;
};

/// Gives the records out one by one.
class RecordPrinter
{
public:
    RecordPrinter(Output& out, const EventWaveFile& file, const WdbEventDatabaseHeader& header,
                  bool json);
    void print(unsigned long long bucket, const WdbEvent& event);
    void finish();

private:
    Output& m_out;
    bool m_json;
    const char* m_separator = "\n";
    ColumnFormat m_columns;
    std::vector<std::string> m_line;
};

std::size_t digits(unsigned long long number)
{
    return std::to_string(number).size();
}

RecordPrinter::RecordPrinter(Output& out, const EventWaveFile& file,
                             const WdbEventDatabaseHeader& header, bool json)
    : m_out(out), m_json(json),
      m_columns({{"bucket", ColumnFormat::Align::Right, digits(header.m_numberOfBuckets)},
                 {"time", ColumnFormat::Align::Right,
                  digits(static_cast<unsigned long long>(file.latestTime()))},
                 {"address", ColumnFormat::Align::Right, digits(header.m_addressSize)},
                 {"length", ColumnFormat::Align::Right},
                 {"value"}}),
      m_line(5)
{
    m_out << (m_json ? "[" : m_columns.titles());
}

void RecordPrinter::print(unsigned long long bucket, const WdbEvent& event)
{
    std::string value;
    const unsigned char* const bytes = event.getValue();
    for (unsigned int i = 0; i < event.getValuelength(); ++i) {
        value += "0123456789abcdef"[bytes[i] >> 4];
        value += "0123456789abcdef"[bytes[i] & 0xF];
    }
    if (m_json) {
        m_out << m_separator
              << fmt::format("{{\"bucket\":{},\"time\":{},\"address\":{},\"length\":{},"
                             "\"value\":\"{}\"}}",
                             bucket, event.getTime(), event.getStartAddress(),
                             event.getValuelength(), value);
        m_separator = ",\n";
        return;
    }
    m_line[0] = std::to_string(bucket);
    m_line[1] = std::to_string(event.getTime());
    m_line[2] = std::to_string(event.getStartAddress());
    m_line[3] = std::to_string(event.getValuelength());
    m_line[4] = value;
    m_out << m_columns.line(m_line);
}

void RecordPrinter::finish()
{
    if (m_json) {
        m_out << "\n]\n";
    }
    m_out.finish();
}

/// Addresses of a bucket; 0 when there is only one bucket.
unsigned long long divisionOf(const WdbEventDatabaseHeader& header)
{
    return header.m_databaseTypeId == WdbEventBlockDatabaseFactory::kSingleBucket
               ? 0
               : header.m_bucketDivision;
}

WdbIEventBlockDatabase::IteratorVector chooseBuckets(const Options& options,
                                                     const WdbIEventBlockDatabase& database)
{
    if (!options.bucket) {
        return database.getAllEventBlockDatabaseIterator();
    }
    const WdbEventDatabaseHeader& header = database.getEventDatabaseHeader();
    const unsigned long long division = divisionOf(header);
    const unsigned int buckets = division == 0 ? 1 : header.m_numberOfBuckets;
    if (*options.bucket >= buckets) {
        throw Failure(fmt::format("{}: there is no bucket {}; the file has {}, counted from 0",
                                  options.file, *options.bucket, buckets));
    }
    return database.getEventBlockDatabaseIterator(
        std::vector<long long>{static_cast<long long>(*options.bucket * division)});
}

void run(const Options& options)
{
    EventWaveFile file = openEventWaveFile(options.file, "events", options.reach);
    WdbIEventBlockDatabase& database = file.database();
    const WdbEventDatabaseHeader& header = database.getEventDatabaseHeader();
    const unsigned long long division = divisionOf(header);
    const WdbIEventBlockDatabase::IteratorVector buckets = chooseBuckets(options, database);

    Output out;
    RecordPrinter printer(out, file, header, options.json);
    // On a terminal the lines themselves show that something happens.
    const bool linesAreSeen = isTerminal(StandardStream::Output);
    ProgressBar bar("reading");
    WdbEventBlock block(header.m_maxEventBlockSize, 0);
    for (std::size_t i = 0; i < buckets.size(); ++i) {
        if (!linesAreSeen) {
            bar.update(static_cast<double>(i) / static_cast<double>(buckets.size()));
        }
        for (; !buckets[i]->isEof(); ++*buckets[i]) {
            buckets[i]->getEventBlock(block);
            if (block.isDamaged()) {
                break;
            }
            const unsigned long long bucket =
                division == 0 ? 0
                              : static_cast<unsigned long long>(block.getBaseAddress()) / division;
            for (WdbEventBlock::Iterator event = block.getIterator(); event; ++event) {
                if ((*event).getTime() <= file.end()) {
                    printer.print(bucket, *event);
                }
            }
        }
    }
    printer.finish();
    finishReading(options.file, file);
}

} // namespace

void addEventsCommand(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("events", "Print the raw event records as stored");
    command->add_option("FILE", options->file, "A wave database")->required();
    command->add_option("--bucket", options->bucket, "Only this bucket, counted from 0")
        ->type_name("N")
        ->transform(wholeNumber(0, std::numeric_limits<unsigned int>::max()));
    command->add_flag("--json", options->json, "JSON, for programs");
    addBeyondOption(*command, options->reach);
    command->footer("Example:\n"
                    "  tracewell events run.wdb --bucket 0\n"
                    "Time in units of the timescale, address and length in bytes of the data\n"
                    "memory, the value's bytes in hexadecimal in the order of their addresses.");
    command->callback([options] { run(*options); });
}

} // namespace tracewell
