// SPDX-License-Identifier: BSD-3-Clause

#include "Measurements.h"

#include "Workload.h"

#include <stdexcept>

namespace tracewell::bench {

namespace {

constexpr const char* kAllSignals = "1000000";
constexpr const char* kPixels = "1000";

class ColumnComparison
{
public:
    explicit ColumnComparison(const ComparisonOptions& options)
        : m_options(options), m_changes(std::to_string(options.changes)), m_measurements(options)
    {}

    void run()
    {
        for (const std::string& workload : Workload::names()) {
            addRun(workload);
        }
        m_measurements.run();
        printWriting();
        printHistories();
        printPictures();
    }

private:
    void addRun(const std::string& workload)
    {
        const std::string columns = m_options.directory + "/" + workload + ".columns";
        const std::string fst = m_options.directory + "/" + workload + ".fst";
        const auto add = [&](const std::string& name, const std::vector<std::string>& command,
                             bool pinned) {
            std::vector<std::string> all = {m_options.self};
            all.insert(all.end(), command.begin(), command.end());
            m_measurements.add(name + "/" + workload, all, pinned);
        };
        add("columns2", {"write", "columns", workload, m_changes, columns}, false);
        add("columns", {"write", "columns", workload, m_changes, columns}, true);
        add("fst", {"write", "fst", workload, m_changes, fst}, true);
        for (const std::string signals : {"1", "20", kAllSignals}) {
            add("read" + signals, {"read", "columns", workload, columns, signals}, true);
            add("fst" + signals, {"read", "fst", workload, fst, signals}, true);
        }
        add("draw", {"draw", "columns", workload, columns, "20", kPixels}, true);
        add("state", {"state", "columns", workload, m_changes, columns}, true);
        add("fst-state", {"state", "fst-at", workload, m_changes, fst}, true);
        add("replay", {"replay", "columns", columns}, true);
    }

    double get(const std::string& what, const std::string& workload,
               const std::string& number) const
    {
        return m_measurements.median(what + "/" + workload + "/" + number);
    }

    void printWriting() const
    {
        printHeader("Columns beside FST: writing " + m_changes +
                        " changes, ns a change; the wall on two processors",
                    {"workload", "calling thread (FST)", "all threads (FST)", "all / FST",
                     "wall with close / FST", "bytes a change (FST)", "memory, MiB"});
        for (const std::string& workload : Workload::names()) {
            const auto pair = [&](const std::string& what) {
                return number(get("columns", workload, what)) + " (" +
                       number(get("fst", workload, what)) + ")";
            };
            printRow({workload, pair("thread"), pair("cpu"),
                      ratio(get("columns", workload, "cpu"), get("fst", workload, "cpu")),
                      ratio(get("columns2", workload, "wall"), get("fst", workload, "wall")),
                      pair("bytes"), number(get("columns", workload, "peak"))});
        }
    }

    void printHistories() const
    {
        printHeader("Columns beside FST: open and whole histories, ms",
                    {"workload", "signals", "columns", "FST", "columns / FST"});
        for (const std::string& workload : Workload::names()) {
            for (const std::string signals : {"1", "20", kAllSignals}) {
                const double ours = get("read" + signals, workload, "history");
                const double theirs = get("fst" + signals, workload, "history");
                if (get("read" + signals, workload, "changes") !=
                    get("fst" + signals, workload, "changes")) {
                    // FST keeps a value that is traced once more; both numbers are told.
                    printRow({workload, signals == kAllSignals ? "all" : signals,
                              number(ours) + ", " +
                                  number(get("read" + signals, workload, "changes")) + " changes",
                              number(theirs) + ", " +
                                  number(get("fst" + signals, workload, "changes")) + " changes",
                              ratio(ours, theirs)});
                    continue;
                }
                printRow({workload, signals == kAllSignals ? "all" : signals, number(ours),
                          number(theirs), ratio(ours, theirs)});
            }
        }
    }

    void printPictures() const
    {
        printHeader(
            "Columns: the first picture of 20 signals, ms; the state of one at a time, cold, "
            "us; the replay of all, ns a change",
            {"workload", "first picture", "state (FST)", "state / FST", "replay"});
        for (const std::string& workload : Workload::names()) {
            const double state = get("state", workload, "cold");
            const double fst = get("fst-state", workload, "cold");
            if (get("state", workload, "check") != get("fst-state", workload, "check")) {
                throw std::runtime_error("the readers' answers differ");
            }
            printRow({workload, number(get("draw", workload, "first")),
                      number(state) + " (" + number(fst) + ")", ratio(state, fst),
                      number(1e6 * get("replay", workload, "thread") /
                             get("replay", workload, "changes"))});
        }
    }

    const ComparisonOptions& m_options;
    std::string m_changes;
    Measurements m_measurements;
};

} // namespace

void compareColumns(const ComparisonOptions& options)
{
    ColumnComparison(options).run();
}

} // namespace tracewell::bench
