// SPDX-License-Identifier: BSD-3-Clause

// What a change costs by the C interface, beside the same change by the writer's own trace
// functions. The two take turns; what other work on the machine does to one of them shows least in
// the shortest of many.

#include "ScratchFile.h"

#include "tracewell.h"

#include "WdbColumnWriter.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr unsigned int kVectors = 64;
constexpr std::uint32_t kStep = 2654435761u;

double shortest(const std::vector<double>& times)
{
    return *std::min_element(times.begin(), times.end());
}

void setUp(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Iterations(4'000'000)->Repetitions(25)->ComputeStatistics("shortest", shortest);
    benchmark->ReportAggregatesOnly(true);
}

void changeByClasses(benchmark::State& state)
{
    const tracewell::bench::ScratchFile file;
    std::vector<unsigned char> memory(8 * kVectors);
    std::vector<Tracewell::WdbColumnField> fields;
    for (unsigned int i = 0; i < kVectors; ++i) {
        fields.push_back({8LL * i, 8, false});
    }
    Tracewell::WdbColumnWriter writer;
    writer.setFields(fields);
    writer.setBaseDPOffset(reinterpret_cast<long long>(memory.data()));
    writer.open(Tracewell::IWdbWriter::kDefaultMode, "", file.path(), 0);
    const auto trace = writer.getTraceVlogFunc();
    long long time = 0;
    unsigned int vector = 0;
    std::uint32_t value = 0;
    for (auto _ : state) {
        if (vector == 0) {
            writer.markCurrentTime(++time);
        }
        unsigned char* const place = memory.data() + 8 * vector;
        std::uint32_t group[2] = {value += kStep, 0};
        trace(time, vector, 5, place, reinterpret_cast<unsigned char*>(group), 0, 32);
        std::memcpy(place, group, sizeof group);
        vector = (vector + 1) % kVectors;
    }
    writer.close();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(changeByClasses)->Apply(setUp);

void changeByC(benchmark::State& state)
{
    const tracewell::bench::ScratchFile file;
    tracewell_recording* const recording = tracewell_recording_create(file.path().c_str(), "1ns");
    tracewell_recording_set_sync(recording, 0);
    tracewell_variable variables[kVectors];
    for (unsigned int i = 0; i < kVectors; ++i) {
        const std::string name = "v" + std::to_string(i);
        tracewell_declaration declaration = tracewell_declaration_default(name.c_str());
        declaration.width = 32;
        tracewell_recording_add(recording, &declaration, &variables[i]);
    }
    tracewell_recording_begin(recording);
    std::int64_t time = 0;
    unsigned int vector = 0;
    std::uint32_t value = 0;
    for (auto _ : state) {
        if (vector == 0) {
            tracewell_recording_time(recording, ++time);
        }
        tracewell_recording_number(recording, variables[vector], value += kStep);
        vector = (vector + 1) % kVectors;
    }
    if (tracewell_recording_close(recording) != TRACEWELL_OK) {
        state.SkipWithError(tracewell_error());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(changeByC)->Apply(setUp);

} // namespace
