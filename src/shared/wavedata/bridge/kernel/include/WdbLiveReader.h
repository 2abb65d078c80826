// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAddressBitPair.h"
#include "WdbCommonReader.h"
#include "WdbWholeMark.h"

#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

class WdbSharedMemReader;

/// Follows a simulation that runs in another process, a WdbLiveWriter: a thread of its own stores
/// what arrives in a `.wdb` file of this reader and in the trees that exist, while the viewer asks.
///
/// Viewer calls may come from several threads. The queries, which take getReadWriteMutex(), and
/// hasMoreData, markTime, restart and the questions exclude each other where they must;
/// createReader and the setters come before other threads, relaunchAfterRestart and the destructor
/// from one. Neither of the two mutexes is held when createReader, relaunchAfterRestart or the
/// destructor is called. Who takes both takes the time-mark mutex first. Trees that were handed out
/// are used under getReadWriteMutex().
class TRACEWELL_API WdbLiveReader : public WdbCommonReader
{
public:
    WdbLiveReader();
    /// Stops the thread, then completes the file: the last blocks, the traced objects, the latest
    /// time, the prototype settings. What still lies in the ring is lost; see isDrained.
    ~WdbLiveReader() override;

    /// Bytes of the simulation's data memory. Events behind it are kept all the same, but of a size
    /// of 0 nothing is. For the time before createReader.
    void setMemFileSize(unsigned long long size) override;
    /// Creates the file `dataFile`, opens channel number `index` of a simulation that has created
    /// it, and starts the thread. The simulation is found by the name of the data file's directory
    /// as its snapshot, unless setSnapshot gave one. The trees' temporary file is named after
    /// `designFile` and lies in `directory`, or in the system's place for such files.
    ///
    /// Without such a channel a line says so, and the reader goes on with nothing to come; see
    /// isConnected. Opens one channel in its life; after an exception it can be called again.
    /// \throws Qsim::OpenException
    void createReader(const std::string& dataFile, const std::string& designFile, int index,
                      const std::string& directory) override;
    boost::mutex& getTimeMarkMutex() override;
    /// Waits for the next time mark; then everything traced before it is to be seen. Gives up after
    /// three seconds without an event, or two once there were some. `lock` holds the time-mark
    /// mutex.
    void markTime(boost::unique_lock<boost::mutex>& lock) override;
    /// Whether events came since this was last asked.
    bool hasMoreData() override;
    /// Ends the thread and empties the ring: the simulation is about to begin anew.
    void restart() override;
    /// Begins the file anew, with the files that saveRtti and saveDbg had, and starts the thread
    /// again, on the channel of a new simulation if there is one and nothing is left in the present
    /// one; otherwise that is stored first, for the next call to go on. Trees survive, empty.
    /// \throws Qsim::OpenException; nothing is stored then before a call that succeeds.
    void relaunchAfterRestart() override;
    /// Embed a file of the simulation; one that does not exist changes nothing.
    void saveRtti(const std::string& path) override;
    void saveDbg(const std::string& path) override;
    /// Stored when the reader goes.
    void setProtoSettingsString(const std::string& settings) override;
    void setObjectTraced(unsigned int object, unsigned long long address,
                         unsigned int size) override;
    bool isObjectTraced(unsigned int object) const override;

    long long getLatestTime() const override;
    void getValueEvents(long long fromTime, long long toTime, long long resolution,
                        std::vector<WdbScalarBTree*>& trees,
                        std::vector<WdbTimeByteValues>& out) const override;
    long long getNextEvent(long long time, std::vector<WdbScalarBTree*>& trees) const override;
    long long getPreviousEvent(long long time, std::vector<WdbScalarBTree*>& trees) const override;
    void getValueEvent(long long time, std::vector<WdbScalarBTree*>& trees,
                       WdbTimeByteValues& values) const override;

    /// Whether a running simulation offers the channel now, so that createReader would find it. For
    /// those who wait for one to start; prints nothing.
    static bool isOffered(const std::string& snapshot, int channel);
    /// Whether one does and a viewer follows it, so that createReader would be refused.
    static bool isTaken(const std::string& snapshot, int channel);
    /// Follow this snapshot, wherever the data file lies. For the time before createReader.
    void setSnapshot(const std::string& snapshot) { m_snapshot = snapshot; }
    /// Whether the files made from now on have a mark (see WdbWholeMark), which sync and the end
    /// bring up to date. Not, if nobody asks for it.
    void setWholeMark(bool hasMark) { m_hasMark = hasMark; }
    /// After it, what was stored so far is readable by others that open the file, and survives the
    /// death of this process. Holds the thread up meanwhile, for some ms as a rule.
    void sync();
    /// Whether a channel was found.
    bool isConnected() const;
    /// Whether the simulation holds the channel now. One that has ended is noticed, however it
    /// ended. Asks the system, some microseconds.
    bool isKernelPresent() const;
    /// Whether all that was sent so far is stored. Once the simulation has gone and this is true,
    /// nothing can come any more before relaunchAfterRestart.
    bool isDrained() const;
    /// Bytes that have come through the channel: those that are stored, and those that were sent,
    /// both counted from createReader. What is sent now is stored when `stored` has come to `sent`.
    void getTraffic(unsigned long long& stored, unsigned long long& sent) const;
    /// Events stored since createReader or relaunchAfterRestart.
    unsigned long long getEventCount() const;
    /// What came through the channel and made no sense, see WdbSharedMemReader, and changes at
    /// addresses for which the file has no place, since createReader.
    unsigned long long getRefusedCount() const;
    /// Append to `trees` the trees of `count` bytes from `start` on, or of the bits, with all that
    /// was stored so far. Nothing is lost or doubled beside the reader's thread, which a viewer
    /// would otherwise have to see to: by a hold of getReadWriteMutex() over flushEvents, the
    /// making of the trees and their scan, in this order.
    void openByteTrees(long long start, long long count, std::vector<WdbScalarBTree*>& trees);
    void openBitTrees(const std::vector<WdbAddressBitPair>& pairs,
                      std::vector<WdbScalarBTree*>& trees);

private:
    void createFile();
    void closeFile();
    void embed(const char* sectionId, const std::string& path, std::string& remembered);
    std::string getChannelPath() const;
    template <class MakeTrees> void openTrees(const MakeTrees& makeTrees);
    /// Changes that the reader left out.
    unsigned long long countRefusedChanges() const TRACEWELL_REQUIRES(getReadWriteMutex());

    unsigned long long m_memFileSize = 0;
    std::string m_liveFileName;
    std::string m_rttiFile;
    std::string m_dbgFile;
    std::string m_protoSettings;
    std::string m_snapshot;
    bool m_hasMark = false;
    /// Changes that the files before relaunchAfterRestart had no place for.
    unsigned long long m_refusedBefore TRACEWELL_GUARDED_BY(getReadWriteMutex()) = 0;
    WdbWholeMark m_mark;
    /// For the time without a channel.
    boost::mutex m_spareTimeMarkMutex;
    /// The channel, which createReader sets once.
    std::unique_ptr<WdbSharedMemReader> m_channel;
};

} // namespace Tracewell
