// SPDX-License-Identifier: BSD-3-Clause

#include "Measurements.h"

#include <cstdio>
#include <stdexcept>

namespace tracewell::bench {

namespace {

/// The workloads with signals enough that finding one is work.
constexpr const char* kWorkloads[] = {"mixed", "sparse"};

class IndexComparison
{
public:
    explicit IndexComparison(const ComparisonOptions& options)
        : m_options(options), m_measurements(options)
    {}

    void run()
    {
        const std::size_t lengths[] = {m_options.changes, m_options.changes / 10};
        for (const std::string workload : kWorkloads) {
            for (const std::size_t length : lengths) {
                addRun(workload, std::to_string(length), length == lengths[0]);
            }
        }
        addReplay("scalars", std::to_string(lengths[0]));
        m_measurements.run();
        printWriting(std::to_string(lengths[0]));
        printStates(std::to_string(lengths[0]), std::to_string(lengths[1]));
        printReplay(std::to_string(lengths[0]));
    }

private:
    void addRun(const std::string& workload, const std::string& changes, bool withPeers)
    {
        const std::string path = m_options.directory + "/" + workload + changes;
        const std::string suffix = "/" + workload + "/" + changes;
        const auto add = [&](const std::string& command, const std::string& what,
                             const std::string& file) {
            m_measurements.add(what + suffix,
                               {m_options.self, command, what, workload, changes, path + file},
                               true);
        };
        add("write", "indexed", ".indexed");
        add("state", "index", ".indexed");
        add("write", "lists", ".lists");
        add("state", "trees", ".lists");
        if (!withPeers) {
            return;
        }
        add("write", "fst", ".fst");
        // Named as what reads, so the writer's numbers stay apart.
        m_measurements.add("whole" + suffix,
                           {m_options.self, "state", "fst", workload, changes, path + ".fst"},
                           true);
        add("state", "fst-at", ".fst");
        m_measurements.add("replay" + suffix,
                           {m_options.self, "replay", workload, path + ".indexed"}, true);
    }

    void addReplay(const std::string& workload, const std::string& changes)
    {
        const std::string path = m_options.directory + "/" + workload + changes + ".indexed";
        const std::string suffix = "/" + workload + "/" + changes;
        m_measurements.add("indexed" + suffix,
                           {m_options.self, "write", "indexed", workload, changes, path}, true);
        m_measurements.add("replay" + suffix, {m_options.self, "replay", workload, path}, true);
    }

    double get(const std::string& name) const { return m_measurements.median(name); }

    void printWriting(const std::string& changes) const
    {
        printHeader("Writing with an index by time, " + changes +
                        " changes, event databases without helper threads, ns a change",
                    {"workload", "lists (1001)", "index (1002)", "1002 / 1001", "bytes, lists",
                     "bytes, index", "memory, index, MiB"});
        for (const std::string workload : kWorkloads) {
            const std::string suffix = "/" + workload + "/" + changes + "/";
            const double lists = get("lists" + suffix + "cpu");
            const double indexed = get("indexed" + suffix + "cpu");
            printRow({workload, number(lists), number(indexed), ratio(indexed, lists),
                      number(get("lists" + suffix + "bytes")),
                      number(get("indexed" + suffix + "bytes")),
                      number(get("indexed" + suffix + "peak"))});
        }
    }

    void printStates(const std::string& changes, const std::string& fewer) const
    {
        printHeader("State of one signal at a time, us (cold: from opening the file on, the files "
                    "in the system's cache; warm: processor time)",
                    {"workload", "reader", "cold", "slowest cold", "cold, processor", "warm",
                     "warm, a tenth of the run", "cold / FST"});
        for (const std::string workload : kWorkloads) {
            const std::string suffix = "/" + workload + "/" + changes + "/";
            const double fst = get("fst-at" + suffix + "cold");
            const auto row = [&](const std::string& title, const std::string& reader,
                                 bool hasFewer) {
                if (get(reader + suffix + "check") != get("whole" + suffix + "check")) {
                    throw std::runtime_error("the readers' answers differ");
                }
                printRow(
                    {workload, title, number(get(reader + suffix + "cold")),
                     number(get(reader + suffix + "slowestCold")),
                     number(get(reader + suffix + "coldCpu")),
                     number(get(reader + suffix + "warm")),
                     hasFewer ? number(get(reader + "/" + workload + "/" + fewer + "/warm")) : "-",
                     ratio(get(reader + suffix + "cold"), fst)});
            };
            row("index (1002), any signal", "index", true);
            row("lists (1001) and trees, 20 signals", "trees", true);
            row("FST, value at the time", "fst-at", false);
            row("FST, the signal whole", "whole", false);
        }
        for (const std::string workload : kWorkloads) {
            const std::string suffix = "index/" + workload + "/" + changes + "/";
            std::printf("\nA question to the index of %s reads %s nodes and unpacks %s blocks.\n",
                        workload.c_str(), number(get(suffix + "nodes")).c_str(),
                        number(get(suffix + "blocks")).c_str());
        }
    }

    void printReplay(const std::string& changes) const
    {
        printHeader("Replay of all signals by WdbMultiBtreeIterator, " + changes + " changes",
                    {"workload", "changes of bytes", "ns a byte", "million bytes a second",
                     "million changes a second", "trees before, ms", "memory, MiB"});
        for (const std::string workload : {"mixed", "scalars", "sparse"}) {
            const std::string suffix = "replay/" + workload + "/" + changes + "/";
            const double bytes = get(suffix + "changes");
            const double ms = get(suffix + "thread");
            printRow({workload, number(bytes), number(1e6 * ms / bytes), number(bytes / ms / 1e3),
                      number(std::stod(changes) / ms / 1e3), number(get(suffix + "trees")),
                      number(get(suffix + "peak"))});
        }
    }

    const ComparisonOptions& m_options;
    Measurements m_measurements;
};

} // namespace

void compareIndex(const ComparisonOptions& options)
{
    IndexComparison(options).run();
}

} // namespace tracewell::bench
