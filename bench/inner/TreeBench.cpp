// SPDX-License-Identifier: BSD-3-Clause

#include "ScratchFile.h"
#include "Workload.h"

#include "WdbAddressBTreeManager.h"
#include "WdbEventReaderFactory.h"
#include "WdbMemoryBlockManager.h"
#include "WdbScalarBTree.h"
#include "WdbStandAloneWriter.h"

#include <benchmark/benchmark.h>

#include <memory>

using namespace Tracewell;
using tracewell::bench::ScratchFile;
using tracewell::bench::Workload;

namespace {

constexpr long long kPixels = 1000;
constexpr long long kStep = 1000;

void appendToTree(benchmark::State& state)
{
    WdbMemoryBlockManager manager;
    WdbScalarBTree tree(0, manager);
    long long time = 0;
    for (auto _ : state) {
        time += kStep;
        tree.addValueWithFilter(time, static_cast<unsigned char>(time / kStep & 1));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(appendToTree);

/// One tree's answers to a window in the middle of its history: argument 0 is the number of
/// changes, argument 1 by what the whole run is divided.
void findInTree(benchmark::State& state)
{
    WdbMemoryBlockManager manager;
    WdbScalarBTree tree(0, manager);
    const long long end = state.range(0) * kStep;
    for (long long time = 0; time < end; time += kStep) {
        tree.addValueWithFilter(time, static_cast<unsigned char>(time / kStep & 1));
    }
    const long long window = end / state.range(1);
    const long long from = (end - window) / 2;
    std::size_t answers = 0;
    for (auto _ : state) {
        const std::unique_ptr<WdbScalarBTree::Iterator> answer(
            tree.find(from, window / kPixels, end, from + window));
        for (; *answer; ++*answer) {
            ++answers;
        }
    }
    state.counters["answers"] =
        static_cast<double>(answers) / static_cast<double>(state.iterations());
}
BENCHMARK(findInTree)->ArgsProduct({{1000000, 10000000}, {1, 10, 100, 1000, 10000}});

/// One vector's answers from a reader; argument 0 is by what the whole run is divided.
void getValueEvents(benchmark::State& state)
{
    const Workload workload("mixed", 1000000);
    const ScratchFile file;
    IWdbWriter& writer = *qtracewell_getStandAloneWdbWriter();
    writer.setAddressSize(workload.addressSize());
    writer.setBaseDPOffset(0);
    writer.open(IWdbWriter::kDefaultMode, "", file.path(), 0);
    const auto trace = writer.getTraceVhdlFunc();
    long long now = 0;
    workload.play([&](long long time) { now = time; },
                  [&](std::uint32_t signal, std::uint32_t value) {
                      std::uint32_t group[2] = {value, 0};
                      trace(now, 0, workload.isVector(signal) ? 8 : 1,
                            reinterpret_cast<unsigned char*>(workload.addressOf(signal)),
                            reinterpret_cast<unsigned char*>(group));
                  });
    writer.close();

    const std::unique_ptr<WdbIEventReader> reader(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    reader->createReader("", file.path(), 0, "");
    std::vector<WdbScalarBTree*> trees;
    std::vector<WdbScalarBTree*> toScan;
    reader->getBTreeManager().getOrCreateByteBTrees(workload.addressOf(500), 8, trees, toScan);
    reader->getBTreeManager().scanWdbDatabase(toScan, nullptr);

    const long long latest = reader->getLatestTime();
    const long long window = latest / state.range(0);
    const long long from = (latest - window) / 2;
    std::vector<WdbTimeByteValues> answers;
    for (auto _ : state) {
        answers.clear();
        reader->getValueEvents(from, from + window, window / kPixels, trees, answers);
    }
    state.counters["answers"] = static_cast<double>(answers.size());
}
BENCHMARK(getValueEvents)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

} // namespace
