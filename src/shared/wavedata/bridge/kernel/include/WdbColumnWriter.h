// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"
#include "TracewellExport.h"
#include "WdbColumnField.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Tracewell {

class ColumnStore;
class EventFile;
template <class Writer> class EventTracing;
class FieldTable;
class VectorScratch;

/// Writes a `.wdb` container whose changes lie in columns, a run of times and a run of values for
/// each field of the data memory: the smallest of the recordings, and the quickest to draw. See
/// IWdbWriter for the contract of the operations; all but the setters do nothing while the writer
/// is closed. One thread at a time drives a writer. Times must not decrease.
///
/// The trace functions append a change to a log in memory, without a lock. Each log that is full,
/// at 786,432 changes, becomes a segment of the file, by a thread of the writer's own; the
/// simulation waits for it only where it lies two logs behind. Takes some 60 MiB, 32
/// bytes for each field, and 4 for each byte of the data memory in those of its pages of 4 KiB that
/// have a field.
///
/// After the death of the process the file holds the segments that were written until then, each
/// whole and with the texts that it names, and all that came before the last sync.
///
/// Where storage breaks and the host has a handler (see StorageFailure.h), the writer closes at the
/// next markCurrentTime, sync or close, and the file is left as that of a killed writer.
///
/// The trace functions go to the writer of this class that was constructed last and still exists.
class TRACEWELL_API WdbColumnWriter : public IWdbWriter
{
public:
    WdbColumnWriter();
    WdbColumnWriter(const WdbColumnWriter&) = delete;
    WdbColumnWriter& operator=(const WdbColumnWriter&) = delete;
    /// Closes the file, so that it is whole.
    ~WdbColumnWriter() override;

    /// Mode and option have no meaning. An empty `wdbFile` is "zsim.wdb". Embeds the debug file and
    /// the run-time type file of `snapshot` where they exist. Closes an open file first.
    /// \throws Qsim::OpenException; the writer is closed then and can be opened again.
    void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
              int option) override;
    /// A change with a byte at a negative address, or at 2^32 or behind, is left out, by all trace
    /// functions. The first one is told in a line on the standard error stream.
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
    /// Does nothing, and neither do the setters of size, division and filter.
    void restart() override {}
    void setMaxTraceableSize(unsigned int) override {}
    void markCurrentTime(long long time) override;
    void setBaseDPOffset(long long offset) override { m_baseOffset = offset; }
    /// Goes to the file at once when one is open.
    void setApplication(const std::string& application) override;
    void setAddressSize(long long) override {}
    void setBucketDivision(unsigned int) override {}
    void setFilterRepeatedValue(bool) override {}

    /// What the data memory consists of; read by open. Bytes that no field has become fields as
    /// they are traced first, so nobody has to tell, but a field whose first change brings a part
    /// of it alone starts with zeros in the others. Where two overlap, the later one is left out.
    void setFields(std::vector<WdbColumnField> fields) { m_fields = std::move(fields); }
    /// After it, everything traced so far is readable by a reader that opens the file now, and
    /// survives the death of this process; everything before the latest time is known to be whole.
    /// Costs time and, until the log is full, room in the file, but none in the end.
    void sync();

private:
    friend class EventTracing<WdbColumnWriter>;

    static WdbColumnWriter* getOpenWriter();

    void create(const std::string& snapshot);
    void writeEvent(long long time, long long address, unsigned int length,
                    const unsigned char* value);
    unsigned int writePart(long long time, long long address, unsigned int length,
                           const unsigned char* value);
    void writeVector(long long time, long long address, const unsigned char* vector,
                     const unsigned char* value, unsigned int firstBit, unsigned int endBit);
    static void writeScalar() {}
    void finishScObject(long long time);
    void tellRefusal(long long address);

    /// The writer constructed last; each knows the one before it.
    static WdbColumnWriter* s_pWriter;

    std::unique_ptr<EventFile> m_file;
    std::unique_ptr<VectorScratch> m_scratch;
    std::unique_ptr<FieldTable> m_table;
    /// Null while no file is open.
    std::unique_ptr<ColumnStore> m_store;
    std::vector<WdbColumnField> m_fields;
    long long m_baseOffset = 0;
    WdbColumnWriter* m_previousWriter = nullptr;
    bool m_isRefusalTold = false;
};

} // namespace Tracewell
