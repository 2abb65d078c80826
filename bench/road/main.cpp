// SPDX-License-Identifier: BSD-3-Clause

// One measurement a process, so that no run warms up another; `compare` runs them all.

#include "Comparison.h"
#include "Readers.h"
#include "Writers.h"

#include "QsimException.h"

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

using namespace tracewell::bench;

namespace {

double peakMib()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

WriteResult runWriter(const std::string& writer, const Workload& workload, const std::string& path,
                      unsigned int division)
{
    if (writer == "own") {
        return writeOwn(workload, path, division);
    }
    if (writer == "lists") {
        return writeLists(workload, path);
    }
    if (writer == "indexed") {
        return writeIndexed(workload, path);
    }
    if (writer == "transitions") {
        return writeTransitions(workload, path);
    }
    if (writer == "columns") {
        return writeColumns(workload, path);
    }
    if (writer == "fst") {
        return writeFst(workload, path);
    }
    if (writer == "vcd") {
        return writeVcd(workload, path);
    }
    if (writer == "append") {
        return appendRecords(workload);
    }
    if (writer == "zlib-fresh") {
        return compressFresh(workload);
    }
    if (writer == "zlib-reused") {
        return compressReused(workload);
    }
    throw std::runtime_error("unknown writer " + writer);
}

// write WRITER WORKLOAD CHANGES FILE [DIVISION]
void measureWrite(char** arguments)
{
    const Workload workload(arguments[1], std::strtoull(arguments[2], nullptr, 10));
    const std::string path = arguments[3];
    const unsigned int division =
        arguments[4] ? static_cast<unsigned int>(std::atoi(arguments[4])) : 2048;
    // What the stream itself takes is no memory of the writer's.
    const double before = peakMib();
    const WriteResult result = runWriter(arguments[0], workload, path, division);
    const double changes = static_cast<double>(workload.changes().size());
    const double bytes =
        result.bytes > 0 ? result.bytes : static_cast<double>(std::filesystem::file_size(path));
    std::printf("thread=%g\ncpu=%g\nwall=%g\nbytes=%g\npeak=%g\n", result.threadNs / changes,
                result.processNs / changes, result.wallNs / changes, bytes / changes,
                peakMib() - before);
}

Store storeOf(const std::string& reader)
{
    return reader == "transitions" ? Store::Transitions
           : reader == "columns"   ? Store::Columns
                                   : Store::Events;
}

// read READER WORKLOAD FILE SIGNALS
void measureRead(char** arguments)
{
    const Workload layout(arguments[1], 0);
    const auto signals = static_cast<std::uint32_t>(std::atoi(arguments[3]));
    const ReadResult result = std::strcmp(arguments[0], "fst") == 0
                                  ? readFst(layout, arguments[2], signals)
                                  : readOwn(storeOf(arguments[0]), layout, arguments[2], signals);
    std::printf("history=%g\ncpu=%g\nchanges=%g\npeak=%g\n", result.historyMs, result.historyCpuMs,
                result.changes, peakMib());
}

// draw READER WORKLOAD FILE SIGNALS PIXELS
void measureDraw(char** arguments)
{
    const DrawResult result =
        drawOwn(storeOf(arguments[0]), Workload(arguments[1], 0), arguments[2],
                static_cast<std::uint32_t>(std::atoi(arguments[3])), std::atoll(arguments[4]));
    std::printf("first=%g\ncpu=%g\npeak=%g\n", result.firstPictureMs, result.firstPictureCpuMs,
                peakMib());
    for (const DrawResult::Zoom& zoom : result.zooms) {
        std::printf("draw%lld=%g\npan%lld=%g\nslowestDraw%lld=%g\nslowestPan%lld=%g\n", zoom.factor,
                    zoom.drawUs, zoom.factor, zoom.panUs, zoom.factor, zoom.slowestDrawUs,
                    zoom.factor, zoom.slowestPanUs);
    }
}

// state READER WORKLOAD CHANGES FILE
void measureState(char** arguments)
{
    const Workload layout(arguments[1], 0);
    const long long end = layout.endTimeOf(std::strtoull(arguments[2], nullptr, 10));
    const std::string reader = arguments[0];
    const StateResult result = reader == "index"     ? askIndex(layout, end, arguments[3])
                               : reader == "trees"   ? askReader(layout, end, arguments[3])
                               : reader == "columns" ? askColumns(layout, end, arguments[3])
                               : reader == "fst"     ? askFst(layout, end, arguments[3])
                               : reader == "fst-at"  ? askFstAtTime(layout, end, arguments[3])
                                                     : throw std::runtime_error("unknown reader");
    std::printf("cold=%g\nslowestCold=%g\ncoldCpu=%g\nwarm=%g\ncheck=%.17g\nnodes=%g\nblocks=%g\n",
                result.coldUs, result.slowestColdUs, result.coldProcessorUs, result.warmUs,
                result.check, result.nodes, result.blocks);
}

// replay WORKLOAD|columns FILE
void measureReplay(char** arguments)
{
    const ReplayResult result = std::strcmp(arguments[0], "columns") == 0
                                    ? replayColumns(arguments[1])
                                    : replayAll(Workload(arguments[0], 0), arguments[1]);
    std::printf("trees=%g\nwall=%g\nthread=%g\nchanges=%g\npeak=%g\n", result.treesMs,
                result.wallMs, result.threadMs, result.byteChanges, peakMib());
}

// compare DIRECTORY [CHANGES] [RUNS] [TRACEWELL], or index or columns with the same
void runComparison(const char* self, const std::string& what, int count, char** arguments)
{
    ComparisonOptions options;
    options.self = self;
    options.directory = arguments[0];
    if (count > 1) {
        options.changes = std::strtoull(arguments[1], nullptr, 10);
    }
    if (count > 2) {
        options.runs = std::atoi(arguments[2]);
    }
    if (count > 3) {
        options.tracewell = arguments[3];
    }
    what == "index"     ? compareIndex(options)
    : what == "columns" ? compareColumns(options)
                        : compare(options);
}

} // namespace

int main(int argc, char** argv)
try {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "write" && argc >= 6) {
        measureWrite(argv + 2);
    } else if (command == "read" && argc >= 6) {
        measureRead(argv + 2);
    } else if (command == "draw" && argc >= 7) {
        measureDraw(argv + 2);
    } else if (command == "state" && argc >= 6) {
        measureState(argv + 2);
    } else if (command == "replay" && argc >= 4) {
        measureReplay(argv + 2);
    } else if ((command == "compare" || command == "index" || command == "columns") && argc >= 3) {
        runComparison(argv[0], command, argc - 2, argv + 2);
    } else {
        std::fprintf(stderr,
                     "usage: road write WRITER WORKLOAD CHANGES FILE [DIVISION]\n"
                     "       road read own|transitions|columns|fst WORKLOAD FILE SIGNALS\n"
                     "       road draw own|transitions|columns WORKLOAD FILE SIGNALS PIXELS\n"
                     "       road state index|trees|columns|fst|fst-at WORKLOAD CHANGES FILE\n"
                     "       road replay WORKLOAD|columns FILE\n"
                     "       road compare DIRECTORY [CHANGES] [RUNS] [TRACEWELL]\n"
                     "       road index DIRECTORY [CHANGES] [RUNS]\n"
                     "       road columns DIRECTORY [CHANGES] [RUNS]\n");
        return 2;
    }
    return 0;
} catch (const Qsim::Exception& e) {
    std::fprintf(stderr, "road: %s\n", e.what());
    return 1;
} catch (const std::exception& e) {
    std::fprintf(stderr, "road: %s\n", e.what());
    return 1;
}
