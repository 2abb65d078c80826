// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBaseLimits.h"
#include "IConsole.h"
#include "TracewellExport.h"
#include "Transition.h"
#include "WdbDamageLog.h"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

/// What an instance of the database does with transitions.
enum class DataBaseMode {
    /// Stores what a Feeder in another process sends, in a thread of its own, and answers queries
    /// meanwhile.
    StoringReader = 0,
    /// Answers queries on a finished file.
    Viewer = 1,
    /// Stores the transitions that this process adds.
    Writer = 2,
    /// Sends transitions to a StoringReader. Has no file.
    Feeder = 3,
    /// A Writer that also keeps a text log of what was added, for debugging.
    LoggingWriter = 4,
};

/// A store of value changes by object: each of up to 2^31 objects has a number and a history of
/// (time, value) in ascending order of time. Times are simulation time, above or equal 0; of
/// several transitions of an object at one time the last one stays.
///
/// The history lies in the object's open buffer and, once that was full, in a tree of compressed
/// blocks, which go to the file as memory runs short. A Writer's file can be read once
/// saveTransitionToDisk has finished it.
///
/// Threads: one thread adds; in a StoringReader that is the thread of its own. Queries may run in
/// any number of threads beside each other, and in a StoringReader beside the storing thread. In a
/// Writer they belong to the adding thread.
class TRACEWELL_API DataBase
{
public:
    /// The id of a time mark.
    static constexpr unsigned int kTimeMarkId = 0xFFFFFFFF;

    /// `designName` says where the debug data lies that goes into the file, and, with `processId`,
    /// on which channel a Feeder and a StoringReader meet; the Feeder comes first. `console` may
    /// be null and must outlive the object. `maxTraceableSize` is kept in the file, 0 standing for
    /// 0xFFFFFFFF. A Viewer that cannot open its file, or finds it unfinished, foreign or damaged,
    /// throws Qsim::OpenException; the other modes go on without a file.
    DataBase(DataBaseMode mode, IConsole* console, const std::string& designName,
             const std::string& fileName, int processId, unsigned int maxTraceableSize,
             const DataBaseLimits& limits = DataBaseLimits());
    DataBase(const DataBase&) = delete;
    DataBase& operator=(const DataBase&) = delete;
    /// A StoringReader takes what the channel still holds and finishes its file. Every other mode
    /// leaves an unfinished file as it is.
    virtual ~DataBase();

    // Adding. All answer true.

    /// In the writing modes, kTimeMarkId sets the latest time and stores nothing. A negative time
    /// is dropped. A StoringReader and a Viewer ignore the call.
    bool addTransitionToDB(unsigned int id, long long time, const Value& value);
    /// `code` is a nine-state value, 0 to 15.
    bool addVhdlStdLogicTransitionToDB(unsigned int id, long long time, char code);
    /// `code` is a four-state value, 0 to 3.
    bool addVlogTransitionToDB(unsigned int id, long long time, char code);
    /// A Feeder tells its peer that everything before `time` was sent. Waits until a transition
    /// that another thread is adding is in the channel. Other modes ignore it.
    bool addTimeMarkToDB(long long time);

    /// Debug data for the file, in place of what the design's debug file holds when the file is
    /// finished. For a StoringReader, whose Feeder may have taken that away by then.
    void setDebugData(std::string data);
    /// Finishes the file: open buffers, tree, initial values, debug data, signature. Without debug
    /// data the file is removed. What is added afterwards is dropped, up to a restartDatabase. The
    /// modes without a file of their own ignore it.
    void saveTransitionToDisk();
    /// The system's error number of the first failure to open or write the file, or to find debug
    /// data for it; 0 if there was none. Such a failure is not reported otherwise: everything goes
    /// on, and the file is not whole. On any thread.
    int getFileError() const;
    /// Forgets everything and begins the same file anew, in the same mode. A finished file stays
    /// until the first block or the next saveTransitionToDisk takes its place, and a Viewer leaves
    /// its file alone. Nobody else may be inside the object. Always true.
    bool restartDatabase();
    void writeCacheTransitionToDisk() {}

    // Point queries. The Locked forms are for a caller who knows that nobody stores meanwhile.

    /// The last transition at or before `time`; its time is `time` when there is none.
    Transition getCurrentTransition(unsigned int id, long long time);
    Transition getCurrentTransitionLocked(unsigned int id, long long time);
    /// The first transition after `time`.
    Transition getNextTransition(unsigned int id, long long time);
    Transition getNextTransitionLocked(unsigned int id, long long time);
    /// The last transition before `time`.
    Transition getPrevTransition(unsigned int id, long long time);
    Transition getPrevTransitionLocked(unsigned int id, long long time);

    // Ranges.

    /// The first and last time stored and the kind, ValueVlog standing for ValueStdLogic, too,
    /// while the object has an open buffer. False, with zeros, if the object has nothing.
    bool getTransInfo(unsigned int id, long long& first, long long& last, ValueType& type);
    /// Appends what there is to draw from `from` to `to`: transitions closer than `minDelta` to
    /// each other come as a pair of ValueDense entries, the start and the end of the run. An entry
    /// of ValueNone says where known data stops. With `minDelta` 0 every transition comes.
    void getTransitions(unsigned int id, long long from, long long to, long long minDelta,
                        std::vector<Transition>& out);
    /// Appends the object's transitions from `from` to `to`, both included, in the order of time:
    /// the first `most` of them, and nothing else. True if there are more. A history comes part by
    /// part so, in memory that does not depend on its length.
    bool getHistory(unsigned int id, long long from, long long to, std::size_t most,
                    std::vector<Transition>& out);
    /// Writes everything to "zsim.dir/readTransition.txt", for debugging.
    void traverseAllTransition();

    // The channel.

    /// Takes one transition from the channel of a StoringReader by hand, waiting for it. False
    /// when the object is being destroyed. A tag that has no stored kind leaves `value` alone.
    bool readOneTransition(unsigned int& id, long long& time, Value& value);
    /// The next record of the channel to be filled or read, 24 bytes, waiting for it; null when
    /// the object is being destroyed or has no channel.
    char* getEmptySharedMemBlock();
    char* getNextSharedMemBlock();
    /// Stores one transition in the channel of a Feeder, waiting for room. A text is not sent. With
    /// `alreadyLocked` the caller has excluded time marks.
    void writeTransToSharedMem(bool alreadyLocked, unsigned int id, long long time,
                               const Value& value);

    /// A viewer's wait for the next time mark, `lock` holding getTimeMarkMutex(). Returns with the
    /// mark, after 3 seconds in which nothing came, or after 2 quiet seconds once something came.
    void markTime(boost::unique_lock<boost::mutex>& lock);
    /// Waits while a time mark is pending.
    void holdForMarkTime();
    boost::mutex& getTimeMarkMutex();
    /// Whether transitions were stored since the last call.
    bool hasMoreData();
    /// Asked by who waits for the channel, about every 10 ms, on the thread that waits. True: wait
    /// on. False: the transition or mark is given up and the call returns. An empty hook waits for
    /// ever. Set before the first use of the channel.
    void setWaitHook(std::function<bool()> hook);
    /// Whether a Feeder or StoringReader has its channel.
    bool isChannelOpen() const;
    /// Whether the other side has the channel open now. Asks the system. A peer that dies is
    /// noticed, however it ends.
    bool isPeerPresent() const;
    /// How many records of the channel a StoringReader has stored, marks among them, and how many
    /// it has been sent, so far as is seen without disturbing the storing thread. On any thread.
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const;
    /// How many transitions a StoringReader has stored. On any thread.
    unsigned long long getStoredCount() const;
    /// How many records a StoringReader has left out: with a time below 0 or before the object's
    /// last one, or with a value of no kind that is stored or of another than those before it. A
    /// line on the standard error stream tells of the first. One more when an index lay outside of
    /// the channel's ring. On any thread.
    unsigned long long getRefusedCount() const;
    /// Whether a running Feeder has made the channel, so that a StoringReader would have it. For
    /// those who wait for a simulation to start.
    static bool isOffered(const std::string& designName, int processId);
    /// Whether one has and a StoringReader is on it, so that another one would be refused.
    static bool isTaken(const std::string& designName, int processId);
    /// Sets the switch of the storing thread, which does not look at it.
    void capture(bool on);

    // The rest.

    /// What a Viewer found damaged in its file, so far as it was asked for it.
    const WdbDamageLog& getDamageLog() const;
    /// The largest time that was added or read.
    long long getLatestTime() const;
    unsigned int getMaxTraceableSize() const;
    void setMaxTraceableSize(unsigned int size);
    /// Whether the object's kind is ValueVlog or ValueStdLogic.
    bool isOptimizedValueType(unsigned int id) const;
    /// Prints every tree and an end of line. Nobody may store meanwhile.
    void dumpDataBase(std::ostream& out);

private:
    class Imp;
    const std::unique_ptr<Imp> m_imp;
};

} // namespace Tracewell
