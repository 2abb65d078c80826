// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBlock.h"
#include "FileIO.h"
#include "NodeTree.h"

#include <array>
#include <cstdint>

namespace Tracewell {

/// The first 144 bytes of a transition database.
struct DataBaseFileHeader
{
    static constexpr std::size_t kWords = 18;
    static constexpr long long kBytes = 144;
    static constexpr std::uint64_t kFirstSignature = 0x3CF4D203EB154205;
    static constexpr std::uint64_t kSecondSignature = 0xABE23F64A2B2F1B7;

    enum Word : std::size_t {
        FirstSignature,
        SecondSignature,
        MaxTraceableSize,
        FirstBlock,
        InitialValues,
        Tree,
        Reserved,
        DebugData,
    };

    DataBaseFileHeader()
    {
        words.fill(~std::uint64_t{0});
        words[0] = words[1] = 0;
    }
    long long offset(Word word) const { return static_cast<long long>(words[word]); }

    std::array<std::uint64_t, kWords> words;
};

static_assert(sizeof(DataBaseFileHeader) == DataBaseFileHeader::kBytes);

/// Writes the tree section at the position of the file.
void writeBTreesToDisk(FileIO& file, const NodeTree& tree, long long latestTime);

/// Reads the tree section at `offset` of a file of `fileSize` bytes. `latestTime` becomes the
/// largest time in it. Throws Qsim::OpenException for a section that no writer makes.
void readBTreeFromDisk(FileIO& file, long long offset, long long fileSize, NodeTree& tree,
                       long long& latestTime);

} // namespace Tracewell
