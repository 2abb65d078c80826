// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IEventSink.h"
#include "TracewellExport.h"
#include "WdbTimeByteValues.h"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <string>
#include <vector>

namespace Tracewell {

class WdbAddressBTreeManager;
class WdbScalarBTree;

/// What a viewer holds. Made by WdbEventReaderFactory, owned by the caller. A signal is a vector of
/// scalar trees from getBTreeManager; an answer has one column a tree. Times are in units of
/// simulation time.
class TRACEWELL_API WdbIEventReader : public IEventSink
{
public:
    ~WdbIEventReader() override;
    void addEventDirect(const WdbLiveEvent* event) override = 0;
    std::recursive_mutex& getReadWriteMutex() const override = 0;

    virtual bool isWDBVersionMatched() const = 0;
    /// The simulator's run-time type file, null when there is none; the caller frees the buffer
    /// with free().
    virtual char* getRtti(long long* size) const = 0;
    /// The simulator's debug file, null when there is none; the caller frees the buffer with
    /// free().
    virtual char* getDbg(long long* size) const = 0;
    /// Empty when there are none.
    virtual std::string getProtoSettings() = 0;
    /// The first `size` bytes of the debug file, null when it is absent; the caller deletes the
    /// buffer with delete[].
    virtual char* getDbgHeader(long long size) const = 0;
    virtual void setMemFileSize(unsigned long long size) = 0;
    virtual long long getLatestTime() const = 0;
    /// Opens `fileName`; the trees' temporary file goes to `directory`, or to the system's place
    /// for such files.
    /// \throws Qsim::OpenException
    virtual void createReader(const std::string& channel, const std::string& fileName, int index,
                              const std::string& directory) = 0;
    /// Empty for an id that is not known.
    virtual std::string getStringMapValue(long long id) = 0;

    /// Appends the starting picture, at the latest of the columns' first times, and one answer for
    /// each time up to `toTime` at which a column changed. A column starts with its last event at
    /// or before `fromTime`, or with its first one; so an answer behind the starting picture may
    /// lie before it. `resolution` is the time of one pixel: changes closer than it come as dense.
    virtual void getValueEvents(long long fromTime, long long toTime, long long resolution,
                                std::vector<WdbScalarBTree*>& trees,
                                std::vector<WdbTimeByteValues>& out) const = 0;
    /// The earliest change after `time`. The first tree that is not empty has the first word: its
    /// last change is the answer where it has none after `time`, and no later one of another tree
    /// replaces it. 0 without events.
    virtual long long getNextEvent(long long time, std::vector<WdbScalarBTree*>& trees) const = 0;
    /// The latest of the trees' last changes before `time`; a tree without one gives its first
    /// change. 0 without events.
    virtual long long getPreviousEvent(long long time,
                                       std::vector<WdbScalarBTree*>& trees) const = 0;
    /// What the columns hold at `time`, under the time of the latest change that made it so. A
    /// column without a change up to then is Blank.
    virtual void getValueEvent(long long time, std::vector<WdbScalarBTree*>& trees,
                               WdbTimeByteValues& values) const = 0;

    virtual boost::mutex& getTimeMarkMutex() = 0;
    virtual void markTime(boost::unique_lock<boost::mutex>& lock) = 0;
    virtual bool hasMoreData() = 0;
    virtual void restart() = 0;
    virtual WdbAddressBTreeManager& getBTreeManager() = 0;
    virtual void saveRtti(const std::string& path) = 0;
    virtual void saveDbg(const std::string& path) = 0;
    virtual void setProtoSettingsString(const std::string& settings) = 0;
    virtual void setObjectTraced(unsigned int object, unsigned long long address,
                                 unsigned int size) = 0;
    /// True for every object when the database stores no list of them.
    virtual bool isObjectTraced(unsigned int object) const = 0;
    virtual void addEventBuffered(const WdbLiveEvent* event) = 0;
    virtual void flushEvents() = 0;
    virtual void relaunchAfterRestart() = 0;
};

} // namespace Tracewell
