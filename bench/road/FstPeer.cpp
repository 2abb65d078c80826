// SPDX-License-Identifier: BSD-3-Clause

#include "Readers.h"
#include "Writers.h"

#include <fstapi.h>

#include <cstring>
#include <stdexcept>

namespace tracewell::bench {

WriteResult writeFst(const Workload& workload, const std::string& path)
{
    const Stopwatch watch;
    void* fst = fstWriterCreate(path.c_str(), 1);
    if (!fst) {
        throw std::runtime_error("cannot create " + path);
    }
    fstWriterSetPackType(fst, FST_WR_PT_LZ4);
    fstWriterSetTimescaleFromString(fst, "1ns");
    fstWriterSetScope(fst, FST_ST_VCD_MODULE, "top", nullptr);
    std::vector<fstHandle> handles(workload.signalCount());
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        const std::string name = "s" + std::to_string(signal);
        handles[signal] = fstWriterCreateVar(fst, FST_VT_VCD_WIRE, FST_VD_IMPLICIT,
                                             workload.isVector(signal) ? 32 : 1, name.c_str(), 0);
    }
    fstWriterSetUpscope(fst);
    workload.play(
        [&](long long time) { fstWriterEmitTimeChange(fst, static_cast<std::uint64_t>(time)); },
        [&](std::uint32_t signal, std::uint32_t value) {
            if (workload.isVector(signal)) {
                fstWriterEmitValueChange32(fst, handles[signal], 32, value);
            } else {
                fstWriterEmitValueChange(fst, handles[signal], value ? "1" : "0");
            }
        });
    fstWriterClose(fst);
    return WriteResult(watch);
}

namespace {

struct Histories
{
    struct History
    {
        std::vector<std::uint64_t> times;
        std::vector<char> values;
    };

    std::vector<History> signals;
    std::vector<std::uint32_t> widths;
};

void takeChange(void* data, std::uint64_t time, fstHandle handle, const unsigned char* value)
{
    auto& histories = *static_cast<Histories*>(data);
    Histories::History& history = histories.signals[handle - 1];
    history.times.push_back(time);
    history.values.insert(history.values.end(), value, value + histories.widths[handle - 1]);
}

} // namespace

ReadResult readFst(const Workload& workload, const std::string& path, std::uint32_t signalCount)
{
    Histories histories;
    histories.signals.resize(workload.signalCount());
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        histories.widths.push_back(workload.isVector(signal) ? 32 : 1);
    }

    ReadResult result;
    const Stopwatch watch;
    void* fst = fstReaderOpen(path.c_str());
    if (!fst) {
        throw std::runtime_error("cannot open " + path);
    }
    if (signalCount >= workload.signalCount()) {
        fstReaderSetFacProcessMaskAll(fst);
    } else {
        fstReaderClrFacProcessMaskAll(fst);
        for (const std::uint32_t signal : workload.pick(signalCount)) {
            fstReaderSetFacProcessMask(fst, signal + 1);
        }
    }
    fstReaderIterBlocks(fst, takeChange, &histories, nullptr);
    result.historyMs = watch.wall() / 1e6;
    result.historyCpuMs = watch.process() / 1e6;
    for (const Histories::History& history : histories.signals) {
        result.changes += static_cast<double>(history.times.size());
    }
    fstReaderClose(fst);
    return result;
}

} // namespace tracewell::bench
