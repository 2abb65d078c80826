// SPDX-License-Identifier: BSD-3-Clause

#include "Writers.h"

#include "WdbStandAloneWriter.h"

#include <cstring>

namespace tracewell::bench {

WriteResult writeOwn(const Workload& workload, const std::string& path, unsigned int division)
{
    std::vector<unsigned char> memory(static_cast<std::size_t>(workload.addressSize()));
    std::vector<long long> addresses(workload.signalCount());
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        addresses[signal] = workload.addressOf(signal);
    }

    const Stopwatch watch;
    Tracewell::IWdbWriter& writer = *qtracewell_getStandAloneWdbWriter();
    writer.setAddressSize(workload.addressSize());
    writer.setBucketDivision(division);
    writer.setBaseDPOffset(reinterpret_cast<long long>(memory.data()));
    writer.open(Tracewell::IWdbWriter::kDefaultMode, "", path, 0);
    const auto traceBytes = writer.getTraceVhdlFunc();
    const auto traceVector = writer.getTraceVlogFunc();
    long long now = 0;
    workload.play(
        [&](long long time) {
            now = time;
            writer.markCurrentTime(time);
        },
        [&](std::uint32_t signal, std::uint32_t value) {
            unsigned char* place = memory.data() + addresses[signal];
            if (workload.isVector(signal)) {
                std::uint32_t group[2] = {value, 0};
                traceVector(now, signal, 5, place, reinterpret_cast<unsigned char*>(group), 0, 32);
                std::memcpy(place, group, sizeof group);
            } else {
                unsigned char letter = static_cast<unsigned char>(value);
                traceBytes(now, signal, 1, place, &letter);
                *place = letter;
            }
        });
    writer.close();
    return WriteResult(watch);
}

} // namespace tracewell::bench
