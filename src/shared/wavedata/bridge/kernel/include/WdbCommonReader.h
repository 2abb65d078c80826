// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAddressBTreeManager.h"
#include "WdbAddressMap.h"
#include "WdbFileManager.h"
#include "WdbIEventReader.h"
#include "WdbStringLRUCache.h"

#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

class WdbIEventBlockDatabase;
class WdbStringMapDatabase;

/// What readers have in common, wherever the data comes from: the container, its event database and
/// string map, the trees, and the four queries on lists of trees. See WdbIEventReader for the
/// contract of the operations. Queries take no lock.
class TRACEWELL_API WdbCommonReader : public WdbIEventReader
{
public:
    WdbCommonReader();
    WdbCommonReader(const WdbCommonReader&) = delete;
    WdbCommonReader& operator=(const WdbCommonReader&) = delete;
    ~WdbCommonReader() override;

    void addEventDirect(const WdbLiveEvent* event) override;
    RecursiveMutex& getReadWriteMutex() const override;
    bool isWDBVersionMatched() const override;
    char* getRtti(long long* size) const override;
    char* getDbg(long long* size) const override;
    std::string getProtoSettings() override;
    char* getDbgHeader(long long size) const override;
    /// 0 while there is no event database.
    long long getLatestTime() const override;
    std::string getStringMapValue(long long id) override;
    void getValueEvents(long long fromTime, long long toTime, long long resolution,
                        std::vector<WdbScalarBTree*>& trees,
                        std::vector<WdbTimeByteValues>& out) const override;
    long long getNextEvent(long long time, std::vector<WdbScalarBTree*>& trees) const override;
    long long getPreviousEvent(long long time, std::vector<WdbScalarBTree*>& trees) const override;
    void getValueEvent(long long time, std::vector<WdbScalarBTree*>& trees,
                       WdbTimeByteValues& values) const override;
    /// What the answers so far came to in the file that could not be read.
    const WdbDamageLog& getDamageLog() const { return m_fileManager.getDamageLog(); }
    WdbAddressBTreeManager& getBTreeManager() override { return m_btreeManager; }
    void setObjectTraced(unsigned int object, unsigned long long address,
                         unsigned int size) override;
    bool isObjectTraced(unsigned int object) const override;
    void addEventBuffered(const WdbLiveEvent* event) override;
    void flushEvents() override;

protected:
    /// Makes the trees' temporary file in `directory`, or in the system's place for such files when
    /// that is no directory. The name is built from the stem of `dataFile`, `index` if above 0, the
    /// process id and the time in seconds, which is raised as long as the name is in use. The first
    /// argument has no meaning.
    /// \throws Qsim::OpenException
    void createDrawingBTreeTmpFile(const std::string& prefix, const std::string& dataFile,
                                   int index, const std::string& directory);
    void setEventDatabase(std::unique_ptr<WdbIEventBlockDatabase> database);
    WdbIEventBlockDatabase* getEventDatabase() const { return m_eventDatabase.get(); }
    void setStringMapDatabase(std::unique_ptr<WdbStringMapDatabase> database);

private:
    std::unique_ptr<WdbIEventBlockDatabase> m_eventDatabase;
    std::unique_ptr<WdbStringMapDatabase> m_stringMapDatabase;
    WdbAddressBTreeManager m_btreeManager;

protected:
    /// Closes after the databases, which write to it when they go.
    WdbFileManager m_fileManager;
    WdbAddressMap m_tracedObjects;
    /// False when the data comes without a list of traced objects.
    bool m_traceListLoaded = true;

private:
    WdbStringLRUCache m_stringCache;
};

} // namespace Tracewell
