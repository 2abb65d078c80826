// SPDX-License-Identifier: BSD-3-Clause

// A viewer of a live simulation whose ring is hostile: the two indices, then the packets. Some
// trees are there before they come, others are made afterwards.

#include "Harness.h"
#include "ScratchDirectory.h"

#include "OutputFileNames.h"
#include "SharedMemoryRegion.h"
#include "WdbLiveReader.h"
#include "WdbSharedMemMgr.h"
#include "WdbTimeByteValues.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using namespace Tracewell;

namespace {

constexpr std::size_t kRingBytes = WdbSharedMemMgr::kRingSize;
constexpr unsigned int kMemory = 4096;
constexpr long long kTreesEach = 32;

/// Both sides, for all inputs.
class Live
{
public:
    Live()
        : m_file(m_directory.path("run.wdb")),
          m_region(SharedMemoryRegion::kCreate, WdbSharedMemMgr::kRingSize,
                   ZSIM::OutputFileNames::getKernelExecDirName(
                       ZSIM::OutputFileNames::getSnapshotName(m_file), ""),
                   0)
    {
        m_reader.setMemFileSize(kMemory);
        m_reader.createReader(m_file, "design", 0, m_directory.path(""));
        FUZZ_REQUIRE(m_reader.isConnected());
        m_reader.openByteTrees(0, kTreesEach, m_early);
        m_reader.restart();
    }

    /// What is there of a longer input before goes.
    void fill(const std::uint8_t* data, std::size_t size)
    {
        size = std::min(size, kRingBytes);
        std::memcpy(m_region.base(), data, size);
        std::memset(m_region.base() + size, 0, m_filled > size ? m_filled - size : 0);
        m_filled = size;
    }

    void store()
    {
        m_reader.relaunchAfterRestart();
        while (!m_reader.isDrained()) {
            std::this_thread::yield();
        }
    }

    void ask()
    {
        std::vector<WdbScalarBTree*> trees = m_early;
        m_reader.openByteTrees(kMemory - kTreesEach, kTreesEach, trees);
        const long long latest = std::numeric_limits<long long>::max();
        std::vector<WdbTimeByteValues> values;
        m_reader.getValueEvents(0, latest, 0, trees, values);
        m_reader.getValueEvents(0, latest, latest / 64, trees, values);
        for (const long long time : {0LL, 100LL, latest}) {
            m_reader.getNextEvent(time, trees);
            m_reader.getPreviousEvent(time, trees);
        }
        m_reader.sync();
        m_reader.restart();
    }

private:
    const ScratchDirectory m_directory;
    const std::string m_file;
    SharedMemoryRegion m_region;
    WdbLiveReader m_reader;
    std::vector<WdbScalarBTree*> m_early;
    std::size_t m_filled = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Live live;
    std::cerr.rdbuf(nullptr);
    if (size == 0) {
        return 0;
    }
    live.fill(data, size);
    live.store();
    live.ask();
    return 0;
}
