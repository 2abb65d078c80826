// SPDX-License-Identifier: BSD-3-Clause

#include "ScratchFile.h"
#include "Workload.h"

#include "BlockStoreQueue.h"
#include "WdbFileManager.h"
#include "WdbMultipleBucketEventDatabase.h"

#include <benchmark/benchmark.h>

#include <memory>

using namespace Tracewell;
using tracewell::bench::ScratchFile;
using tracewell::bench::Workload;

namespace {

constexpr std::size_t kChanges = 1000000;

/// One change an iteration; the stream is played again, later, when it has ended.
void writeEvent(benchmark::State& state, const std::string& workloadName, bool withQueue)
{
    const Workload workload(workloadName, kChanges);
    const ScratchFile file;
    WdbFileManager manager;
    manager.create(file.path());
    const auto size = static_cast<unsigned long long>(workload.addressSize());
    const long long section = WdbIEventBlockDatabase::createEventSection(
        1001, WdbIEventBlockDatabase::calculateNumberOfBucket(size), size, manager);
    auto database = std::make_unique<WdbMultipleBucketEventDatabase>(1001, manager);
    if (withQueue) {
        database->setStoreQueue(std::make_shared<BlockStoreQueue>());
    }
    database->initialize(section, true);

    const auto& changes = workload.changes();
    std::size_t i = 0;
    long long time = 0;
    for (auto _ : state) {
        const Workload::Change& change = changes[i];
        const std::uint32_t group[2] = {change.value, 0};
        database->writeEvent(time, workload.addressOf(change.signal),
                             workload.isVector(change.signal) ? 8 : 1,
                             reinterpret_cast<const unsigned char*>(group));
        i = i + 1 == changes.size() ? 0 : i + 1;
        time += i % 128 == 0 ? 1000 : 0;
    }
    state.SetItemsProcessed(state.iterations());
    database.reset();
    manager.close();
}

BENCHMARK_CAPTURE(writeEvent, mixed, "mixed", false);
BENCHMARK_CAPTURE(writeEvent, clock, "clock", false);
BENCHMARK_CAPTURE(writeEvent, sparse, "sparse", false);
BENCHMARK_CAPTURE(writeEvent, mixed_queue, "mixed", true);
BENCHMARK_CAPTURE(writeEvent, clock_queue, "clock", true);
BENCHMARK_CAPTURE(writeEvent, sparse_queue, "sparse", true);

} // namespace
