// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLiveReader.h"

#include "BlockStoreQueue.h"
#include "OutputFileNames.h"
#include "QsimException.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbMultipleBucketEventDatabase.h"
#include "WdbSharedMemMgr.h"
#include "WdbSharedMemReader.h"

#include <boost/filesystem/operations.hpp>

#include <limits>

namespace Tracewell {

namespace {

using ZSIM::OutputFileNames;
using Lock = RecursiveMutexLock;

constexpr int kDatabaseType = WdbEventBlockDatabaseFactory::kMultipleBucket;
constexpr unsigned int kBucketDivision = 2048;
constexpr unsigned int kSectionVersion = 1;
/// What the thread may need to leave the ring's waiting.
constexpr int kTicksToStop = 2;

[[noreturn]] void throwOpenException(int line, const char* message)
{
    throw Qsim::OpenException("QSim", __FILE__, "", line, message);
}

std::string channelPathOf(const std::string& pathInSnapshot)
{
    return OutputFileNames::getKernelExecDirName(OutputFileNames::getSnapshotName(pathInSnapshot),
                                                 "");
}

} // namespace

WdbLiveReader::WdbLiveReader() = default;

WdbLiveReader::~WdbLiveReader()
{
    if (m_channel) {
        m_channel->shutDown();
        m_channel->sleepMem(kTicksToStop);
        m_channel.reset();
    }
    try {
        closeFile();
    } catch (...) {
        // Nobody is left to tell.
    }
}

void WdbLiveReader::setMemFileSize(unsigned long long size)
{
    m_memFileSize = size;
}

void WdbLiveReader::createReader(const std::string& dataFile, const std::string& designFile,
                                 int index, const std::string& directory)
{
    if (m_channel) {
        throwOpenException(__LINE__, "The live reader follows a channel already.");
    }
    boost::system::error_code error;
    const boost::filesystem::path absolute = boost::filesystem::system_complete(dataFile, error);
    m_liveFileName = error ? dataFile : absolute.string();
    try {
        createFile();
        const std::string path = getChannelPath();
        createDrawingBTreeTmpFile(path, designFile, index, directory);
        m_channel = std::make_unique<WdbSharedMemReader>(path, index, this);
    } catch (...) {
        setEventDatabase(nullptr);
        m_fileManager.close();
        throw;
    }
    if (m_channel->isMapped()) {
        m_channel->start(getEventDatabase());
    }
}

void WdbLiveReader::createFile()
{
    if (m_memFileSize / kBucketDivision >= std::numeric_limits<int>::max()) {
        throwOpenException(__LINE__, "The data memory of the simulation is too large.");
    }
    m_fileManager.create(m_liveFileName);
    // Before anything can be read, so that no file is without what tells how much of it is whole.
    m_mark = WdbWholeMark();
    if (m_hasMark) {
        m_mark.create(m_fileManager);
    }
    m_fileManager.setApplication("Zelnix Simulator");
    saveRtti(m_rttiFile);
    saveDbg(m_dbgFile);

    // The factory's class for this type, which can hand its full blocks to other threads.
    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(kDatabaseType, m_fileManager));
    database->initialize(
        WdbIEventBlockDatabase::createEventSection(
            kDatabaseType,
            WdbIEventBlockDatabase::calculateNumberOfBucket(m_memFileSize, kBucketDivision),
            m_memFileSize, kBucketDivision, m_fileManager),
        true);
    static_cast<WdbMultipleBucketEventDatabase&>(*database).setStoreQueue(
        std::make_shared<BlockStoreQueue>());
    setEventDatabase(std::move(database));
}

// The latest time comes behind everything else of the events, so what belongs to them comes first.
void WdbLiveReader::closeFile()
{
    if (WdbIEventBlockDatabase* const database = getEventDatabase()) {
        if (m_tracedObjects.size() > 0) {
            const long long offset = m_tracedObjects.addBlock(m_fileManager.getFileBlockManager());
            database->setAddressMapFileOffsetAndSize(offset, m_tracedObjects.size());
        }
        setEventDatabase(nullptr);
    }
    if (!m_protoSettings.empty()) {
        m_fileManager.embedDataInNewSection(
            "Zelnix Proto", kSectionVersion,
            reinterpret_cast<const unsigned char*>(m_protoSettings.c_str()),
            static_cast<long long>(m_protoSettings.size()) + 1);
    }
    if (!m_fileManager.getFileBlockManager().isBroken()) {
        m_mark.set(m_fileManager, WdbWholeMark::kClosed);
    }
    m_fileManager.close();
}

void WdbLiveReader::sync()
{
    const Lock lock(getReadWriteMutex());
    WdbIEventBlockDatabase* const database = getEventDatabase();
    if (!database) {
        return;
    }
    database->flush();
    // More may come of the latest time.
    if (!m_fileManager.getFileBlockManager().isBroken() && database->getLatestTime() > 0) {
        m_mark.set(m_fileManager, database->getLatestTime() - 1);
    }
}

boost::mutex& WdbLiveReader::getTimeMarkMutex()
{
    return m_channel ? m_channel->getTimeMarkMutex() : m_spareTimeMarkMutex;
}

void WdbLiveReader::markTime(boost::unique_lock<boost::mutex>& lock)
{
    if (!m_channel) {
        return;
    }
    m_channel->waitForTimeMark(lock);
    getBTreeManager().markTime(getLatestTime());
}

bool WdbLiveReader::hasMoreData()
{
    return m_channel && m_channel->hasNewEvents();
}

void WdbLiveReader::restart()
{
    if (m_channel) {
        m_channel->restart();
    }
}

void WdbLiveReader::relaunchAfterRestart()
{
    if (!m_channel) {
        return;
    }
    m_channel->stop();
    {
        const Lock lock(getReadWriteMutex());
        getBTreeManager().reset();
        m_refusedBefore += countRefusedChanges();
        setEventDatabase(nullptr);
        m_fileManager.close();
        createFile();
    }
    m_channel->start(getEventDatabase());
}

void WdbLiveReader::saveRtti(const std::string& path)
{
    embed("Zelnix RTTI", path, m_rttiFile);
}

void WdbLiveReader::saveDbg(const std::string& path)
{
    embed("Zelnix DBG", path, m_dbgFile);
}

void WdbLiveReader::embed(const char* sectionId, const std::string& path, std::string& remembered)
{
    boost::system::error_code error;
    if (!boost::filesystem::is_regular_file(path, error)) {
        return;
    }
    const Lock lock(getReadWriteMutex());
    remembered = path;
    if (m_fileManager.isOpen()) {
        m_fileManager.embedFileInNewSection(sectionId, kSectionVersion, path);
    }
}

void WdbLiveReader::setProtoSettingsString(const std::string& settings)
{
    m_protoSettings = settings;
}

void WdbLiveReader::setObjectTraced(unsigned int object, unsigned long long address,
                                    unsigned int size)
{
    const Lock lock(getReadWriteMutex());
    WdbCommonReader::setObjectTraced(object, address, size);
}

bool WdbLiveReader::isObjectTraced(unsigned int object) const
{
    const Lock lock(getReadWriteMutex());
    return WdbCommonReader::isObjectTraced(object);
}

long long WdbLiveReader::getLatestTime() const
{
    const Lock lock(getReadWriteMutex());
    return WdbCommonReader::getLatestTime();
}

void WdbLiveReader::getValueEvents(long long fromTime, long long toTime, long long resolution,
                                   std::vector<WdbScalarBTree*>& trees,
                                   std::vector<WdbTimeByteValues>& out) const
{
    const Lock lock(getReadWriteMutex());
    WdbCommonReader::getValueEvents(fromTime, toTime, resolution, trees, out);
}

long long WdbLiveReader::getNextEvent(long long time, std::vector<WdbScalarBTree*>& trees) const
{
    const Lock lock(getReadWriteMutex());
    return WdbCommonReader::getNextEvent(time, trees);
}

long long WdbLiveReader::getPreviousEvent(long long time, std::vector<WdbScalarBTree*>& trees) const
{
    const Lock lock(getReadWriteMutex());
    return WdbCommonReader::getPreviousEvent(time, trees);
}

void WdbLiveReader::getValueEvent(long long time, std::vector<WdbScalarBTree*>& trees,
                                  WdbTimeByteValues& values) const
{
    const Lock lock(getReadWriteMutex());
    WdbCommonReader::getValueEvent(time, trees, values);
}

bool WdbLiveReader::isOffered(const std::string& snapshot, int channel)
{
    return WdbSharedMemMgr::isOffered(channelPathOf(snapshot), channel);
}

bool WdbLiveReader::isTaken(const std::string& snapshot, int channel)
{
    return WdbSharedMemMgr::isTaken(channelPathOf(snapshot), channel);
}

bool WdbLiveReader::isConnected() const
{
    return m_channel && m_channel->isMapped();
}

bool WdbLiveReader::isKernelPresent() const
{
    return m_channel && m_channel->isPeerPresent();
}

bool WdbLiveReader::isDrained() const
{
    return !m_channel || m_channel->isDrained();
}

void WdbLiveReader::getTraffic(unsigned long long& stored, unsigned long long& sent) const
{
    stored = 0;
    sent = 0;
    if (m_channel) {
        m_channel->getTraffic(stored, sent);
    }
}

unsigned long long WdbLiveReader::getRefusedCount() const
{
    const Lock lock(getReadWriteMutex());
    return (m_channel ? m_channel->getRefusedCount() : 0) + m_refusedBefore + countRefusedChanges();
}

unsigned long long WdbLiveReader::countRefusedChanges() const
{
    // createFile makes no other.
    const auto* const database =
        static_cast<const WdbMultipleBucketEventDatabase*>(getEventDatabase());
    return database ? database->getRefusedCount() : 0;
}

unsigned long long WdbLiveReader::getEventCount() const
{
    return m_channel ? m_channel->getEventCount() : 0;
}

void WdbLiveReader::openByteTrees(long long start, long long count,
                                  std::vector<WdbScalarBTree*>& trees)
{
    openTrees([&](std::vector<WdbScalarBTree*>& toScan) {
        getBTreeManager().getOrCreateByteBTrees(start, count, trees, toScan);
    });
}

void WdbLiveReader::openBitTrees(const std::vector<WdbAddressBitPair>& pairs,
                                 std::vector<WdbScalarBTree*>& trees)
{
    openTrees([&](std::vector<WdbScalarBTree*>& toScan) {
        getBTreeManager().getOrCreateBitBTrees(pairs, trees, toScan);
    });
}

// What lies in the buffer is in the database already: a new tree would get it from both.
template <class MakeTrees> void WdbLiveReader::openTrees(const MakeTrees& makeTrees)
{
    std::vector<WdbScalarBTree*> toScan;
    const Lock lock(getReadWriteMutex());
    flushEvents();
    makeTrees(toScan);
    getBTreeManager().scanWdbDatabaseMultiThread(toScan, nullptr);
}

std::string WdbLiveReader::getChannelPath() const
{
    return channelPathOf(m_snapshot.empty() ? m_liveFileName : m_snapshot);
}

} // namespace Tracewell
