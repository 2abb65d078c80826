// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"
#include "TracewellExport.h"
// For programs that have them from here.
#include "WdbFileManager.h"
#include "WdbWholeMark.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace Tracewell {

class EventFile;
template <class Writer> class EventTracing;
class VectorScratch;
class WdbMultipleBucketBtreeDatabase;

/// Writes a `.wdb` container with an index by time (a WdbMultipleBucketBtreeDatabase) inside the
/// simulating process, so that a viewer finds the state at any time without a scan. Blocks are
/// compressed and stored on the simulation's thread. See IWdbWriter for the contract of the
/// operations; all but the setters do nothing while the writer is closed. One thread at a time
/// drives a writer. Times must not decrease.
///
/// The file has a mark (see WdbWholeMark), which sync and close bring up to date. What was traced
/// after the last sync waits in memory for the most part, and is lost with the process.
///
/// Where storage breaks and the host has a handler (see StorageFailure.h), the writer closes at the
/// next markCurrentTime, sync or close, and the file is left as that of a killed writer.
///
/// The trace functions go to the writer of this class that was constructed last and still exists.
class TRACEWELL_API WdbIndexedWriter : public IWdbWriter
{
public:
    WdbIndexedWriter();
    WdbIndexedWriter(const WdbIndexedWriter&) = delete;
    WdbIndexedWriter& operator=(const WdbIndexedWriter&) = delete;
    /// Closes the file, so that it is whole.
    ~WdbIndexedWriter() override;

    /// Mode and option have no meaning. An empty `wdbFile` is "zsim.wdb". Embeds the debug file and
    /// the run-time type file of `snapshot` where they exist. Closes an open file first.
    /// \throws Qsim::OpenException; the writer is closed then and can be opened again.
    void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
              int option) override;
    /// A change with a byte that lies in none of the buckets, which cover the address size by 2,048
    /// addresses each, is left out, by all trace functions. The first one is told in a line on the
    /// standard error stream.
    TraceVhdlFunc getTraceVhdlFunc() override;
    /// The function that this gives does nothing: the file holds memory, not objects.
    TraceVhdlFuncScalar getTraceVhdlFuncScalar() override;
    TraceVlogFunc getTraceVlogFunc() override;
    TraceScObjectFunc getTraceScObjectFunc() override;
    TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override;
    /// -1 while closed, and for a text that cannot be stored: longer than 1,010 characters or with
    /// a NUL inside.
    long long addString(const std::string& text) override;
    /// The file is complete when it returns, unless storage broke.
    void close() override;
    /// Does nothing, and neither do the next one and the setters of division and filter: the index
    /// knows one division, and of several values at one place and time a full block keeps the last.
    void restart() override;
    void setMaxTraceableSize(unsigned int size) override;
    void markCurrentTime(long long time) override;
    void setBaseDPOffset(long long offset) override { m_baseOffset = offset; }
    /// Goes to the file at once when one is open.
    void setApplication(const std::string& application) override;
    void setAddressSize(long long size) override { m_addressSize = size; }
    void setBucketDivision(unsigned int division) override;
    void setFilterRepeatedValue(bool filter) override;

    /// The addresses from `begin` up to, not including, `end` start values that begin with a
    /// counter, a byte that grows by one with each change. A block takes in no more of them at one
    /// time than a byte can count, so that though it keeps the last one alone, that one tells how
    /// many there were. None, if nobody asks. Read by the trace functions.
    void setCounters(long long begin, long long end);
    /// After it, everything traced so far is readable by a reader that opens the file now, and
    /// survives the death of this process. The mark is set to the time before the latest one, of
    /// which more may come. Costs a partly filled block for each stretch of 2,048 addresses that
    /// has changed since.
    void sync();

private:
    friend class EventTracing<WdbIndexedWriter>;

    static WdbIndexedWriter* getOpenWriter();

    /// Changes of a counter at one time that the open block holds.
    struct Counted
    {
        long long time = -1;
        unsigned int changes = 0;
    };

    void create(const std::string& snapshot);
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value);
    void writeVector(long long time, long long address, const unsigned char* vector,
                     const unsigned char* value, unsigned int firstBit, unsigned int endBit);
    static void writeScalar() {}
    void finishScObject(long long time);
    void makeRoomForCounter(long long time, long long address);
    void tellRefusal(long long address);

    /// The writer constructed last; each knows the one before it.
    static WdbIndexedWriter* s_pWriter;

    std::unique_ptr<EventFile> m_file;
    std::unique_ptr<VectorScratch> m_scratch;
    /// Null while no file is open.
    std::unique_ptr<WdbMultipleBucketBtreeDatabase> m_eventDatabase;
    long long m_baseOffset = 0;
    long long m_countersBegin = 0;
    long long m_countersEnd = 0;
    std::unordered_map<long long, Counted> m_counted;
    WdbIndexedWriter* m_previousWriter = nullptr;
    long long m_addressSize = 0;
    bool m_isRefusalTold = false;
};

} // namespace Tracewell
