// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBaseFixture.h"
#include "SharedMemory.h"

#include <cstring>
#include <vector>

namespace Tracewell {

/// A database file and the channel to it; the test can take either end of the ring itself.
class ChannelFixture : public DataBaseFixture
{
protected:
    static std::string channelPath()
    {
        return ZSIM::OutputFileNames::getKernelExecDirName(
            ZSIM::OutputFileNames::getSnapshotName(std::string(kDesign)));
    }
    SharedMemory ring(int mode) const
    {
        return {mode,
                channelPath(),
                0,
                2400000,
                "Local\\QSimTransitionMem0",
                16,
                "Local\\QSimReadWritePtr0"};
    }

    /// What is in the ring: 16 bytes of head and as many of the payload as are said.
    static std::string takeHead(SharedMemory& ring, std::size_t payloadBytes)
    {
        const char* const slot = ring.getNextBlock();
        if (!slot) {
            return "none";
        }
        const std::string bytes(slot, 16 + payloadBytes);
        ring.advanceRead();
        return bytes;
    }
    static std::string head(long long time, unsigned int id, unsigned int type)
    {
        return words(time) + halfWords(id, type);
    }
};

} // namespace Tracewell
