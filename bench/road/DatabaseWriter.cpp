// SPDX-License-Identifier: BSD-3-Clause

#include "Writers.h"

#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"
#include "WdbIEventBlockDatabase.h"

#include <cstring>
#include <memory>

namespace tracewell::bench {

namespace {

using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbIEventBlockDatabase;

WriteResult writeDatabase(int type, const Workload& workload, const std::string& path)
{
    std::vector<long long> addresses(workload.signalCount());
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        addresses[signal] = workload.addressOf(signal);
    }
    const auto addressSize = static_cast<unsigned long long>(workload.addressSize());

    const Stopwatch watch;
    Tracewell::WdbFileManager files;
    files.create(path);
    const long long section = WdbIEventBlockDatabase::createEventSection(
        type, WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize), addressSize, files);
    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(type, files));
    database->initialize(section, true);
    long long now = 0;
    workload.play([&](long long time) { now = time; },
                  [&](std::uint32_t signal, std::uint32_t value) {
                      unsigned char group[8] = {};
                      std::memcpy(group, &value, sizeof value);
                      database->writeEvent(now, addresses[signal],
                                           workload.isVector(signal) ? sizeof group : 1, group);
                  });
    database.reset();
    files.close();
    return WriteResult(watch);
}

} // namespace

WriteResult writeLists(const Workload& workload, const std::string& path)
{
    return writeDatabase(WdbEventBlockDatabaseFactory::kMultipleBucket, workload, path);
}

WriteResult writeIndexed(const Workload& workload, const std::string& path)
{
    return writeDatabase(WdbEventBlockDatabaseFactory::kMultipleBucketBtree, workload, path);
}

} // namespace tracewell::bench
