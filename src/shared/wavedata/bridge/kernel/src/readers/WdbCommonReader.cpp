// SPDX-License-Identifier: BSD-3-Clause

#include "WdbCommonReader.h"

#include "ColumnMerge.h"
#include "QsimException.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbScalarBTree.h"
#include "WdbStringMapDatabase.h"
#include "platform/Process.h"

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

namespace Tracewell {

namespace fs = boost::filesystem;

namespace {

constexpr unsigned int kStringCacheCapacity = 1000;
constexpr std::size_t kLongestStem = 30;
/// A directory in which so many names in a row are in use is not usable.
constexpr unsigned int kMostNamesTried = 10000;

constexpr char kRttiSection[] = "Zelnix RTTI";
constexpr char kDbgSection[] = "Zelnix DBG";
constexpr char kProtoSection[] = "Zelnix Proto";
constexpr unsigned int kSectionVersion = 1;

fs::path findTemporaryDirectory(const std::string& wanted)
{
    boost::system::error_code error;
    if (!wanted.empty() && fs::is_directory(wanted, error)) {
        return wanted;
    }
    const fs::path directory = fs::temp_directory_path(error);
    return error ? fs::path(".") : directory;
}

/// Also true for a link that leads nowhere.
bool isNameInUse(const fs::path& path)
{
    boost::system::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

using TreeIterator = std::unique_ptr<WdbScalarBTree::Iterator>;

/// Every event from `fromTime` on.
TreeIterator findEvents(const WdbScalarBTree& tree, long long fromTime, long long latestTime)
{
    constexpr long long kNoEnd = -1;
    return TreeIterator(tree.find(fromTime, 0, latestTime, kNoEnd));
}

} // namespace

IEventSink::~IEventSink() = default;
WdbIEventReader::~WdbIEventReader() = default;

WdbCommonReader::WdbCommonReader() : m_btreeManager(nullptr), m_stringCache(kStringCacheCapacity) {}

WdbCommonReader::~WdbCommonReader()
{
    m_eventDatabase.reset();
    m_stringMapDatabase.reset();
}

void WdbCommonReader::addEventDirect(const WdbLiveEvent* event)
{
    if (m_btreeManager.hasAtLeastOneBtree()) {
        m_btreeManager.addEventDirect(event);
    }
}

RecursiveMutex& WdbCommonReader::getReadWriteMutex() const
{
    return m_btreeManager.getMutex();
}

bool WdbCommonReader::isWDBVersionMatched() const
{
    return m_fileManager.getHeader().isVersionStringMatched();
}

char* WdbCommonReader::getRtti(long long* size) const
{
    return m_fileManager.getSectionData(kRttiSection, kSectionVersion, size);
}

char* WdbCommonReader::getDbg(long long* size) const
{
    return m_fileManager.getSectionData(kDbgSection, kSectionVersion, size);
}

std::string WdbCommonReader::getProtoSettings()
{
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> settings(
        m_fileManager.getSectionData(kProtoSection, kSectionVersion, &size), &std::free);
    if (!settings) {
        return std::string();
    }
    const std::size_t length = ::strnlen(settings.get(), static_cast<std::size_t>(size));
    return std::string(settings.get(), length);
}

char* WdbCommonReader::getDbgHeader(long long size) const
{
    return m_fileManager.getSectionData(kDbgSection, kSectionVersion, size);
}

long long WdbCommonReader::getLatestTime() const
{
    return m_eventDatabase ? m_eventDatabase->getLatestTime() : 0;
}

std::string WdbCommonReader::getStringMapValue(long long id)
{
    std::string text;
    if (!m_stringMapDatabase || id < 1 || id > std::numeric_limits<unsigned int>::max()) {
        return text;
    }
    if (!m_stringCache.get(id, text) &&
        m_stringMapDatabase->getString(static_cast<unsigned int>(id), text)) {
        m_stringCache.put(id, text);
    }
    return text;
}

void WdbCommonReader::getValueEvents(long long fromTime, long long toTime, long long resolution,
                                     std::vector<WdbScalarBTree*>& trees,
                                     std::vector<WdbTimeByteValues>& out) const
{
    const long long latestTime = getLatestTime();
    ColumnMerge merge(static_cast<unsigned int>(trees.size()), toTime);
    for (const WdbScalarBTree* const tree : trees) {
        merge.add(tree->find(fromTime, resolution, latestTime, toTime));
    }
    merge.run(out);
}

long long WdbCommonReader::getNextEvent(long long time, std::vector<WdbScalarBTree*>& trees) const
{
    const long long latestTime = getLatestTime();
    long long result = 0;
    bool isFirst = true;
    for (const WdbScalarBTree* const tree : trees) {
        if (tree->isEmpty()) {
            continue;
        }
        long long next = tree->getLastValueTime();
        const TreeIterator event = findEvents(*tree, time, latestTime);
        if (*event && event->getTime() <= time) {
            ++*event;
        }
        if (*event) {
            next = event->getTime();
        }
        // The first tree's answer stands even when nothing of it comes after `time`.
        if (isFirst || (next > time && next < result)) {
            result = next;
        }
        isFirst = false;
    }
    return result;
}

long long WdbCommonReader::getPreviousEvent(long long time,
                                            std::vector<WdbScalarBTree*>& trees) const
{
    const long long latestTime = getLatestTime();
    const long long before = time < 1 ? time : time - 1;
    long long result = 0;
    bool isFirst = true;
    for (const WdbScalarBTree* const tree : trees) {
        if (tree->isEmpty()) {
            continue;
        }
        const TreeIterator event = findEvents(*tree, before, latestTime);
        const long long previous = *event ? event->getTime() : 0;
        result = isFirst ? previous : std::max(result, previous);
        isFirst = false;
    }
    return result;
}

void WdbCommonReader::getValueEvent(long long time, std::vector<WdbScalarBTree*>& trees,
                                    WdbTimeByteValues& values) const
{
    const long long latestTime = getLatestTime();
    WdbTimeByteValues found(static_cast<unsigned int>(trees.size()));
    long long foundTime = 0;
    for (std::size_t i = 0; i < trees.size(); ++i) {
        if (trees[i]->isEmpty()) {
            continue;
        }
        const TreeIterator event = findEvents(*trees[i], time, latestTime);
        if (*event && event->getTime() <= time) {
            found.setValueAt(static_cast<unsigned int>(i), (**event).getByteValue());
            foundTime = std::max(foundTime, event->getTime());
        }
    }
    found.setTime(foundTime);
    values = std::move(found);
}

void WdbCommonReader::setObjectTraced(unsigned int object, unsigned long long, unsigned int)
{
    m_tracedObjects.insert(object);
}

bool WdbCommonReader::isObjectTraced(unsigned int object) const
{
    return !m_traceListLoaded || m_tracedObjects.find(object);
}

void WdbCommonReader::addEventBuffered(const WdbLiveEvent* event)
{
    if (m_btreeManager.hasAtLeastOneBtree()) {
        m_btreeManager.addEventBuffered(event);
    }
}

void WdbCommonReader::flushEvents()
{
    if (m_btreeManager.hasAtLeastOneBtree()) {
        m_btreeManager.flushEvents();
    }
}

void WdbCommonReader::createDrawingBTreeTmpFile(const std::string&, const std::string& dataFile,
                                                int index, const std::string& directory)
{
    std::string stem = fs::path(dataFile).stem().string().substr(0, kLongestStem);
    if (index > 0) {
        stem += "_" + std::to_string(index);
    }
    stem += "_" + std::to_string(getProcessId()) + "_";

    const fs::path place = findTemporaryDirectory(directory);
    auto seconds = static_cast<std::uint32_t>(std::time(nullptr));
    for (unsigned int tried = 1;; ++tried, ++seconds) {
        boost::system::error_code error;
        const fs::path name = place / (stem + std::to_string(seconds) + ".zelwvdat");
        const fs::path absolute = fs::system_complete(name, error);
        const fs::path& path = error ? name : absolute;
        try {
            m_btreeManager.createDrawingBTreeFile(path.string());
            return;
        } catch (const Qsim::OpenException&) {
            if (tried == kMostNamesTried || !isNameInUse(path)) {
                throw;
            }
        }
    }
}

void WdbCommonReader::setEventDatabase(std::unique_ptr<WdbIEventBlockDatabase> database)
{
    m_btreeManager.setEventDatabase(database.get());
    m_eventDatabase = std::move(database);
}

void WdbCommonReader::setStringMapDatabase(std::unique_ptr<WdbStringMapDatabase> database)
{
    m_stringMapDatabase = std::move(database);
}

} // namespace Tracewell
