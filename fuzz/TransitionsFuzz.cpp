// SPDX-License-Identifier: BSD-3-Clause

// A ring of transitions whose producer is hostile: the two indices, then the records. What the
// storing reader makes of it is a file that opens.

#include "Harness.h"
#include "ScratchDirectory.h"

#include "ChannelName.h"
#include "DataBase.h"
#include "OutputFileNames.h"
#include "SharedMemory.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

using namespace Tracewell;

namespace {

constexpr const char* kDesign = "design";
constexpr const char* kRecords = "Local\\QSimTransitionMem0";
constexpr const char* kPointers = "Local\\QSimReadWritePtr0";
constexpr std::size_t kIndexBytes = 8;
constexpr std::size_t kRingBytes = 2'400'000;

void poke(const std::string& channel, const char* prefix, const std::uint8_t* data,
          std::size_t size)
{
    std::fstream region("/dev/shm" + makeRegionName(prefix, "", makeAbsolute(channel), ""),
                        std::ios::in | std::ios::out | std::ios::binary);
    region.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size)).flush();
    FUZZ_REQUIRE(region.good());
}

void readBack(DataBase& file, unsigned int id)
{
    constexpr std::size_t kMost = 1000;
    long long first = 0;
    long long last = 0;
    ValueType type = ValueNone;
    std::vector<Transition> history;
    file.getHistory(id, 0, std::numeric_limits<long long>::max(), kMost, history);
    FUZZ_REQUIRE(file.getTransInfo(id, first, last, type) == !history.empty());
    FUZZ_REQUIRE(0 <= first && first <= last && history.size() <= kMost);
    file.getTransitions(id, first / 2, last, (last - first) / 16, history);
    file.getNextTransition(id, first);
    file.getPrevTransition(id, last);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const ScratchDirectory directory;
    ZSIM::OutputFileNames::setZSimDirLocation(directory.path("").c_str());
    const std::string channel = ZSIM::OutputFileNames::getKernelExecDirName(
        ZSIM::OutputFileNames::getSnapshotName(std::string(kDesign)));
    const std::string file = directory.path("run.wdb");
    std::cerr.rdbuf(nullptr);
    if (size < kIndexBytes) {
        return 0;
    }
    const SharedMemory ring(SharedMemory::kCreate, channel, 0, static_cast<int>(kRingBytes),
                            kRecords, 16, kPointers);
    FUZZ_REQUIRE(ring.isMapped());
    size = std::min(size, kRingBytes);
    poke(channel, kRecords, data + kIndexBytes, size - kIndexBytes);
    poke(channel, kPointers, data, kIndexBytes);

    DataBase reader(DataBaseMode::StoringReader, nullptr, kDesign, file, 0, 0);
    FUZZ_REQUIRE(reader.isChannelOpen());
    reader.setDebugData("names");
    reader.saveTransitionToDisk();
    FUZZ_REQUIRE(reader.getFileError() == 0);
    unsigned long long stored = 0;
    unsigned long long sent = 0;
    reader.getTraffic(stored, sent);
    FUZZ_REQUIRE(reader.getStoredCount() + reader.getRefusedCount() <= stored + 1);
    if (reader.getStoredCount() == 0) {
        return 0;
    }

    DataBase viewer(DataBaseMode::Viewer, nullptr, kDesign, file, 0, 0);
    for (std::size_t at = kIndexBytes; at + SharedMemory::kRecordSize <= size && at < 1000;
         at += SharedMemory::kRecordSize) {
        unsigned int id = 0;
        std::memcpy(&id, data + at + 8, sizeof id);
        readBack(viewer, id);
    }
    return 0;
}
