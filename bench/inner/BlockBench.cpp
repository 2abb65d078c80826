#include "Workload.h"

#include "ImageCompressor.h"
#include "WdbEventBlock.h"
#include "WdbMemoryBlockManager.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

using namespace Tracewell;
using tracewell::bench::Workload;

namespace {

constexpr unsigned int kBlockSize = 10240;

/// A block full of a workload's changes.
WdbEventBlock fullBlock(const std::string& workloadName)
{
    const Workload workload(workloadName, 1000);
    WdbEventBlock block(kBlockSize, 0);
    long long now = 0;
    workload.play([&](long long time) { now = time; },
                  [&](std::uint32_t signal, std::uint32_t value) {
                      const std::uint32_t group[2] = {value, 0};
                      const unsigned int length = workload.isVector(signal) ? 8 : 1;
                      if (block.canAdd(length))
                          block.addEvent(now, workload.addressOf(signal) % 2048, length,
                                         reinterpret_cast<const unsigned char*>(group));
                  });
    return block;
}

void countBytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * kBlockSize);
}

void compressBlockByZlib(benchmark::State& state, const std::string& workload)
{
    const WdbEventBlock block = fullBlock(workload);
    std::vector<char> out(kBlockSize);
    for (auto _ : state) {
        uLongf size = out.size();
        benchmark::DoNotOptimize(compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                                           reinterpret_cast<const Bytef*>(block.getMemory()),
                                           kBlockSize, 1));
    }
    countBytes(state);
}

void compressBlock(benchmark::State& state, const std::string& workload)
{
    const WdbEventBlock block = fullBlock(workload);
    ImageCompressor compressor;
    for (auto _ : state)
        benchmark::DoNotOptimize(compressor.compress(block.getMemory(), kBlockSize));
    countBytes(state);
}

void loadBlock(benchmark::State& state, const std::string& workload)
{
    WdbMemoryBlockManager manager;
    unsigned int size = 0;
    const long long handle = fullBlock(workload).addBlock(manager, size);
    WdbEventBlock block(kBlockSize, 0);
    for (auto _ : state)
        block.loadBlock(handle, size, manager);
    countBytes(state);
}

BENCHMARK_CAPTURE(compressBlockByZlib, mixed, "mixed");
BENCHMARK_CAPTURE(compressBlock, mixed, "mixed");
BENCHMARK_CAPTURE(compressBlockByZlib, clock, "clock");
BENCHMARK_CAPTURE(compressBlock, clock, "clock");
BENCHMARK_CAPTURE(loadBlock, mixed, "mixed");
BENCHMARK_CAPTURE(loadBlock, clock, "clock");

} // namespace
