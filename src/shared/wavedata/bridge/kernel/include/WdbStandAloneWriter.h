// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"
#include "TracewellExport.h"
// For programs that have them from here.
#include "WdbFileManager.h"
#include "WdbWholeMark.h"

#include <memory>
#include <string>

namespace Tracewell {

class EventFile;
template <class Writer> class EventTracing;
class VectorScratch;
class WdbMultipleBucketEventDatabase;

/// Writes a `.wdb` container inside the simulating process. Full blocks are compressed and stored
/// by helper threads, in the order in which they became full. See IWdbWriter for the contract of
/// the operations; all but the setters do nothing while the writer is closed. One thread at a time
/// drives a writer.
///
/// The trace functions go to the writer that was constructed last and still exists.
class TRACEWELL_API WdbStandAloneWriter : public IWdbWriter
{
public:
    WdbStandAloneWriter();
    WdbStandAloneWriter(const WdbStandAloneWriter&) = delete;
    WdbStandAloneWriter& operator=(const WdbStandAloneWriter&) = delete;
    /// Closes the file, so that it is whole.
    ~WdbStandAloneWriter() override;

    /// Mode and option have no meaning. An empty `wdbFile` is "zsim.wdb". Embeds the debug file and
    /// the run-time type file of `snapshot` where they exist. Closes an open file first.
    /// \throws Qsim::OpenException; the writer is closed then and can be opened again.
    void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
              int option) override;
    TraceVhdlFunc getTraceVhdlFunc() override;
    TraceVhdlFuncScalar getTraceVhdlFuncScalar() override;
    TraceVlogFunc getTraceVlogFunc() override;
    TraceScObjectFunc getTraceScObjectFunc() override;
    TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override;
    /// -1 while closed, and for a text that cannot be stored: longer than 1,010 characters or with
    /// a NUL inside.
    long long addString(const std::string& text) override;
    /// The file is complete when it returns, unless storage broke (see StorageFailure.h).
    void close() override;
    /// Does nothing: a file keeps what it has.
    void restart() override;
    /// Does nothing: changes of any size are taken.
    void setMaxTraceableSize(unsigned int size) override;
    void markCurrentTime(long long time) override;
    void setBaseDPOffset(long long offset) override { m_baseOffset = offset; }
    /// Goes to the file at once when one is open.
    void setApplication(const std::string& application) override;
    void setAddressSize(long long size) override { m_addressSize = size; }
    /// 0 means the default, 2,048.
    void setBucketDivision(unsigned int division) override { m_bucketDivision = division; }
    void setFilterRepeatedValue(bool filter) override;

    /// Whether the files opened from now on have a mark (see WdbWholeMark), which flush and close
    /// bring up to date. Not, if nobody asks for it. Kernels whose time goes back must not.
    void setWholeMark(bool hasMark) { m_hasMark = hasMark; }
    /// After it, everything traced so far is readable by a reader that opens the file now, and
    /// survives the death of this process. The mark is set to the time before the latest one, of
    /// which more may come; markCurrentTime with the next time says that a step is over.
    void flush();

private:
    friend class EventTracing<WdbStandAloneWriter>;

    static WdbStandAloneWriter* getOpenWriter();

    void create(const std::string& snapshot);
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value);
    void writeVector(long long time, long long address, const unsigned char* vector,
                     const unsigned char* value, unsigned int firstBit, unsigned int endBit);
    static void writeScalar() {}
    void finishScObject(long long time);

    /// The writer constructed last; each knows the one before it.
    static WdbStandAloneWriter* s_pWriter;

    std::unique_ptr<EventFile> m_file;
    std::unique_ptr<VectorScratch> m_scratch;
    /// Null while no file is open.
    std::unique_ptr<WdbMultipleBucketEventDatabase> m_eventDatabase;
    long long m_baseOffset = 0;
    WdbStandAloneWriter* m_previousWriter = nullptr;
    long long m_addressSize = 0;
    unsigned int m_bucketDivision;
    bool m_filter = true;
    bool m_hasMark = false;
};

} // namespace Tracewell

/// The library's stand-alone writer. A process uses either this one or the one of WriterFactory.
extern "C" TRACEWELL_API Tracewell::IWdbWriter* qtracewell_getStandAloneWdbWriter();
