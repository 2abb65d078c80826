// SPDX-License-Identifier: BSD-3-Clause

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

/// Blocks full of a workload's changes: so many that no branch predictor learns them.
std::vector<WdbEventBlock> fullBlocks(const std::string& workloadName)
{
    const Workload workload(workloadName, 64000);
    std::vector<WdbEventBlock> blocks;
    blocks.emplace_back(kBlockSize, 0);
    long long now = 0;
    workload.play([&](long long time) { now = time; },
                  [&](std::uint32_t signal, std::uint32_t value) {
                      const std::uint32_t group[2] = {value, 0};
                      const unsigned int length = workload.isVector(signal) ? 8 : 1;
                      if (!blocks.back().canAdd(length)) {
                          blocks.emplace_back(kBlockSize, 0);
                      }
                      blocks.back().addEvent(now, workload.addressOf(signal) % 2048, length,
                                             reinterpret_cast<const unsigned char*>(group));
                  });
    return blocks;
}

void countBytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * kBlockSize);
}

void compressBlockByZlib(benchmark::State& state, const std::string& workload)
{
    const std::vector<WdbEventBlock> blocks = fullBlocks(workload);
    std::vector<char> out(kBlockSize);
    std::size_t next = 0;
    for (auto _ : state) {
        uLongf size = out.size();
        const WdbEventBlock& block = blocks[next++ % blocks.size()];
        benchmark::DoNotOptimize(compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                                           reinterpret_cast<const Bytef*>(block.getMemory()),
                                           kBlockSize, 1));
    }
    countBytes(state);
}

void compressBlock(benchmark::State& state, const std::string& workload)
{
    const std::vector<WdbEventBlock> blocks = fullBlocks(workload);
    ImageCompressor compressor;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            compressor.compress(blocks[next++ % blocks.size()].getMemory(), kBlockSize));
    }
    countBytes(state);
}

void loadBlock(benchmark::State& state, const std::string& workload)
{
    WdbMemoryBlockManager manager;
    unsigned int size = 0;
    const long long handle = fullBlocks(workload).front().addBlock(manager, size);
    WdbEventBlock block(kBlockSize, 0);
    for (auto _ : state) {
        block.loadBlock(handle, size, manager);
    }
    countBytes(state);
}

BENCHMARK_CAPTURE(compressBlockByZlib, mixed, "mixed");
BENCHMARK_CAPTURE(compressBlock, mixed, "mixed");
BENCHMARK_CAPTURE(compressBlockByZlib, clock, "clock");
BENCHMARK_CAPTURE(compressBlock, clock, "clock");
BENCHMARK_CAPTURE(loadBlock, mixed, "mixed");
BENCHMARK_CAPTURE(loadBlock, clock, "clock");

} // namespace
