// SPDX-License-Identifier: BSD-3-Clause

#include "Comparison.h"

#include "Measurements.h"
#include "Workload.h"

#include <algorithm>
#include <filesystem>

namespace tracewell::bench {

namespace {

constexpr unsigned int kDivisions[] = {8, 16, 32, 64, 256, 2048};
/// The bucket sizes of the files that are read: the default, and one for readers of few signals.
constexpr unsigned int kReadDivisions[] = {2048, 8};
constexpr const char* kAllSignals = "1000000";
constexpr const char* kPixels = "1000";

class Comparison
{
public:
    explicit Comparison(const ComparisonOptions& options)
        : m_options(options), m_count(std::to_string(options.changes)), m_measurements(options)
    {}

    void run()
    {
        addWriters();
        addReaders();
        m_measurements.run();
        addDivisions();
        addImport();
        m_measurements.run();
        printWriters();
        printReaders();
        printDrawing();
        printDivisions();
        printImport();
    }

private:
    std::string file(const std::string& name) const { return m_options.directory + "/" + name; }

    void addWriter(const std::string& name, const std::string& writer, const std::string& workload,
                   const std::string& path, bool pinned, unsigned int division = 2048)
    {
        m_measurements.add(
            name,
            {m_options.self, "write", writer, workload, m_count, path, std::to_string(division)},
            pinned);
    }

    void addWriters()
    {
        for (const std::string& workload : Workload::names()) {
            addWriter("own/" + workload, "own", workload, file(workload + ".wdb"), true);
            addWriter("fst/" + workload, "fst", workload, file(workload + ".fst"), true);
            addWriter("own2/" + workload, "own", workload, file(workload + ".wdb"), false);
            addWriter("transitions/" + workload, "transitions", workload, transitionFile(workload),
                      true);
            addWriter("vcd/" + workload, "vcd", workload, file(workload + ".vcd"), true);
            for (const char* bound : {"append", "zlib-fresh", "zlib-reused"}) {
                addWriter(bound + ("/" + workload), bound, workload, "-", true);
            }
        }
    }

    std::string transitionFile(const std::string& workload) const
    {
        return file(workload + "-transitions.wdb");
    }

    std::string ownFile(const std::string& workload, unsigned int division) const
    {
        return file(workload + std::to_string(division) + ".wdb");
    }

    void addReaders()
    {
        for (const std::string& workload : Workload::names()) {
            for (const unsigned int division : kReadDivisions) {
                const std::string path = ownFile(workload, division);
                const std::string suffix = "/" + workload + "/" + std::to_string(division);
                addWriter("for-reading" + suffix, "own", workload, path, false, division);
                m_measurements.add("draw" + suffix,
                                   {m_options.self, "draw", "own", workload, path, "20", kPixels},
                                   false);
            }
            m_measurements.add("draw/" + workload + "/transitions",
                               {m_options.self, "draw", "transitions", workload,
                                transitionFile(workload), "20", kPixels},
                               false);
        }
        for (const std::string workload : {"mixed", "sparse"}) {
            for (const std::string signals : {"1", "20", kAllSignals}) {
                addReader("fst", workload, file(workload + ".fst"), signals);
                addReader("transitions", workload, transitionFile(workload), signals);
                for (const unsigned int division : kReadDivisions) {
                    addReader("own" + std::to_string(division), workload,
                              ownFile(workload, division), signals);
                }
            }
        }
    }

    void addReader(const std::string& reader, const std::string& workload, const std::string& path,
                   const std::string& signals)
    {
        m_measurements.add("read/" + reader + "/" + workload + "/" + signals,
                           {m_options.self, "read", reader.substr(0, 3) == "own" ? "own" : reader,
                            workload, path, signals},
                           false);
    }

    void addDivisions()
    {
        for (const std::string workload : {"mixed", "sparse"}) {
            for (const unsigned int division : kDivisions) {
                const std::string name = workload + "/" + std::to_string(division);
                const std::string path = file("division.wdb");
                addWriter("division/" + name, "own", workload, path, false, division);
                for (const std::string signals : {"1", "20"}) {
                    m_measurements.add("division-read" + signals + "/" + name,
                                       {m_options.self, "read", "own", workload, path, signals},
                                       false);
                }
                m_measurements.add("division-draw/" + name,
                                   {m_options.self, "draw", "own", workload, path, "20", kPixels},
                                   false);
            }
        }
    }

    void addImport()
    {
        if (m_options.tracewell.empty()) {
            return;
        }
        m_measurements.add("import/own",
                           {m_options.tracewell, "import", file("mixed.vcd"), file("import.wdb")},
                           false);
        m_measurements.add("import/fst", {"vcd2fst", file("mixed.vcd"), file("import.fst")}, false);
    }

    double get(const std::string& name) const { return m_measurements.median(name); }

    void printWriters() const
    {
        for (const std::string& workload : Workload::names()) {
            const double fst = get("fst/" + workload + "/wall");
            printHeader("Writing, " + workload + ", " + m_count + " changes, ns a change",
                        {"writer", "calling thread", "all threads", "wall with close",
                         "bytes a change", "wall / FST"});
            const auto row = [&](const std::string& title, const std::string& name) {
                const std::string key = name + "/" + workload + "/";
                printRow({title, number(get(key + "thread")), number(get(key + "cpu")),
                          number(get(key + "wall")), number(get(key + "bytes")),
                          ratio(get(key + "wall"), fst)});
            };
            row("Tracewell, one processor", "own");
            row("Tracewell, all processors", "own2");
            row("Tracewell, transition database", "transitions");
            row("FST writer (LZ4)", "fst");
            row("VCD text, tight writer", "vcd");
            row("records in memory only", "append");
            row("zlib level 1, `compress2` a block", "zlib-fresh");
            row("zlib level 1, one state reused", "zlib-reused");
        }
    }

    void printReaders() const
    {
        printHeader("Reading, from open to full history in memory, ms (processor time of all "
                    "threads)",
                    {"workload", "signals", "FST", "Tracewell, division 2,048",
                     "Tracewell, division 8", "transition database", "best / FST"});
        for (const std::string workload : {"mixed", "sparse"}) {
            for (const std::string signals : {"1", "20", kAllSignals}) {
                const auto get = [&](const std::string& reader, const std::string& value) {
                    return this->get("read/" + reader + "/" + workload + "/" + signals + value);
                };
                const auto cell = [&](const std::string& reader) {
                    return number(get(reader, "/history")) + " (" + number(get(reader, "/cpu")) +
                           ")";
                };
                const double best = std::min({get("own2048", "/history"), get("own8", "/history"),
                                              get("transitions", "/history")});
                printRow({workload, signals == kAllSignals ? "all" : signals, cell("fst"),
                          cell("own2048"), cell("own8"), cell("transitions"),
                          ratio(best, get("fst", "/history"))});
            }
        }
    }

    void printDrawing() const
    {
        printHeader("First picture: from open to the answers for 20 signals, 1,000 pixels",
                    {"workload", "store", "ms", "processor time, ms", "memory, MiB"});
        for (const std::string& workload : Workload::names()) {
            for (const std::string store : {"2048", "8", "transitions"}) {
                const std::string key = "draw/" + workload + "/" + store + "/";
                printRow({workload, nameOfStore(store), number(get(key + "first")),
                          number(get(key + "cpu")), number(get(key + "peak"))});
            }
        }
        for (const std::string store : {"2048", "transitions"}) {
            printLaterPictures(store);
        }
    }

    static std::string nameOfStore(const std::string& store)
    {
        return store == "transitions" ? "transition database" : "events, division " + store;
    }

    void printLaterPictures(const std::string& store) const
    {
        printHeader("Later pictures of the same signals, " + nameOfStore(store) + ", us",
                    {"workload", "window", "all 20", "slowest signal", "pan step, all 20",
                     "pan step, slowest signal"});
        for (const std::string& workload : Workload::names()) {
            const std::string key = "draw/" + workload + "/" + store + "/";
            for (const std::string factor : {"1", "10", "100", "1000", "10000"}) {
                printRow(
                    {workload, factor == "1" ? "whole run" : "1/" + factor,
                     number(get(key + "draw" + factor)), number(get(key + "slowestDraw" + factor)),
                     number(get(key + "pan" + factor)), number(get(key + "slowestPan" + factor))});
            }
        }
    }

    void printDivisions() const
    {
        printHeader("Addresses a bucket",
                    {"workload", "division", "bytes a change", "all threads, ns a change",
                     "writer's memory, MiB", "history of 1 signal, ms", "history of 20 signals, ms",
                     "first picture, ms"});
        for (const std::string workload : {"mixed", "sparse"}) {
            for (const unsigned int division : kDivisions) {
                const std::string key = workload + "/" + std::to_string(division) + "/";
                printRow({workload, std::to_string(division),
                          number(get("division/" + key + "bytes")),
                          number(get("division/" + key + "cpu")),
                          number(get("division/" + key + "peak")),
                          number(get("division-read1/" + key + "history")),
                          number(get("division-read20/" + key + "history")),
                          number(get("division-draw/" + key + "first"))});
            }
        }
    }

    void printImport() const
    {
        if (m_options.tracewell.empty()) {
            return;
        }
        const double mib =
            static_cast<double>(std::filesystem::file_size(file("mixed.vcd"))) / 1048576;
        printHeader(
            "Import of a VCD, " + number(mib) + " MiB",
            {"program", "wall, s", "processor time, s", "MiB/s", "peak memory, MiB", "file, MiB"});
        const auto row = [&](const std::string& title, const std::string& name,
                             const std::string& output) {
            const double seconds = get(name + "/processMs") / 1000;
            const double size = static_cast<double>(std::filesystem::file_size(file(output)));
            printRow({title, number(seconds), number(get(name + "/processorMs") / 1000),
                      number(mib / seconds), number(get(name + "/processMib")),
                      number(size / 1048576)});
        };
        row("`tracewell import`", "import/own", "import.wdb");
        row("`vcd2fst`", "import/fst", "import.fst");
    }

    const ComparisonOptions& m_options;
    std::string m_count;
    Measurements m_measurements;
};

} // namespace

void compare(const ComparisonOptions& options)
{
    Comparison(options).run();
}

} // namespace tracewell::bench
