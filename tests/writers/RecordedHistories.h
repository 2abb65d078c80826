// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/TestEvents.h"

#include "WdbStaticReader.h"

#include <string>
#include <vector>

namespace Tracewell {

/// The histories of `count` bytes from `address` on.
inline std::vector<History> readHistories(const std::string& path, long long address,
                                          long long count, long long* latestTime = nullptr)
{
    WdbStaticReader reader;
    reader.createReader("", path, 0, "");
    std::vector<WdbScalarBTree*> trees;
    std::vector<WdbScalarBTree*> toScan;
    reader.getBTreeManager().getOrCreateByteBTrees(address, count, trees, toScan);
    reader.getBTreeManager().scanWdbDatabase(toScan, nullptr);
    std::vector<History> histories;
    for (const WdbScalarBTree* const tree : trees) {
        histories.push_back(getHistory(*tree));
    }
    if (latestTime) {
        *latestTime = reader.getLatestTime();
    }
    return histories;
}

} // namespace Tracewell
