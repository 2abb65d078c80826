// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBaseLimits.h"
#include "IWdbWriter.h"
#include "TracewellExport.h"

#include <functional>
#include <memory>
#include <string>

namespace Tracewell {

class DataBase;
class Value;

/// Puts the changes into a DataBase, by object: in live mode into the channel to a storing reader
/// in another process, else into a file of its own. See IWdbWriter for the contract of the
/// operations; while the writer is closed, all but open and setMaxTraceableSize do nothing.
///
/// Of the trace functions, `id` is the object's number and `kind` tells what the values are:
///
/// | kind | value                                   | the same when equal in |
/// |------|-----------------------------------------|------------------------|
/// | 0    | a byte                                  | 1 byte                 |
/// | 1    | a 32-bit integer                        | 4 bytes                |
/// | 2    | a 64-bit integer                        | 8 bytes                |
/// | 3    | a 64-bit float                          | 8 bytes                |
/// | 4    | a byte for a two-state bit              | the lowest bit         |
/// | 5    | a byte for a four-state bit             | the lowest 2 bits      |
/// | 6    | a byte for a nine-state value           | the lowest 4 bits      |
///
/// Other kinds are ignored. `old` is the present value: a change to the same is dropped, unless
/// both are the same pointer, as for an object's first value.
///
/// The trace functions go to the writer that was constructed last. All operations belong to the
/// simulation's thread; markCurrentTime may also come from others while the writer stays open.
class TRACEWELL_API WdbWriter : public IWdbWriter
{
public:
    WdbWriter();
    WdbWriter(const WdbWriter&) = delete;
    WdbWriter& operator=(const WdbWriter&) = delete;
    /// Closes the database, so that it is whole.
    ~WdbWriter() override;

    /// kLiveMode makes a Feeder, kPostMode a LoggingWriter, and any other mode a Writer, of
    /// `wdbFile` with `processId` in its name. Closes an open file first.
    void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
              int processId) override;
    TraceVhdlFunc getTraceVhdlFunc() override { return &traceVhdl; }
    /// The same without a comparison.
    TraceVhdlFuncScalar getTraceVhdlFuncScalar() override { return &traceVhdlScalar; }
    /// Of kind 5, bit b has the number `id` + b. Of kind 3 the vector is one of floats, each 32 bit
    /// numbers wide and the one at bit b numbered `id` + b / 32; `old` and `value` both start with
    /// the first of them.
    TraceVlogFunc getTraceVlogFunc() override { return &traceVlog; }
    /// This one and the next do nothing.
    TraceScObjectFunc getTraceScObjectFunc() override { return &traceScObject; }
    TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override
    {
        return &traceScVirtualObject;
    }
    /// Always 0: texts are not stored.
    long long addString(const std::string& text) override;
    /// Finishes the file; in live mode that is the peer's to do.
    void close() override;
    void restart() override;
    /// 0 stands for 0xFFFFFFFF. Before open it holds for the file to come.
    void setMaxTraceableSize(unsigned int size) override;
    /// A time mark of the writer constructed last. Only live mode has them.
    void markCurrentTime(long long time) override;
    /// Does nothing, and neither do the setters below.
    void setBaseDPOffset(long long offset) override;
    void setApplication(const std::string& application) override;
    void setAddressSize(long long size) override;
    void setBucketDivision(unsigned int division) override;
    void setFilterRepeatedValue(bool filter) override;

    /// See DataBase::setWaitHook. Takes effect with the next open.
    void setWaitHook(std::function<bool()> hook) { m_waitHook = std::move(hook); }
    /// How much memory the file to come may take before data moves on. Where `bufferBytes` is
    /// reached, the longest open buffer is closed early, and its object's value at time 0 comes in
    /// once more. Takes effect with the next open.
    void setLimits(const DataBaseLimits& limits) { m_limits = limits; }
    /// The system's error number of the first failure to open or write the file, or to find its
    /// debug data: of the open file, or of the one closed last. 0 if all of it was written. See
    /// DataBase::getFileError.
    int getFileError() const;
    /// Whether there is a file, or a channel in live mode.
    bool isOpen() const;
    /// Whether a storing reader is attached to the channel now.
    bool isViewerPresent() const;

    /// The writer constructed last, or null when that one is gone.
    static WdbWriter* s_pWriter;

private:
    static void traceVhdl(long long time, unsigned int id, unsigned int kind, unsigned char* old,
                          unsigned char* value);
    static void traceVhdlScalar(long long time, unsigned int id, unsigned int kind,
                                const unsigned char* value);
    static void traceVlog(long long time, unsigned int id, unsigned int kind, unsigned char* old,
                          unsigned char* value, unsigned int firstBit, unsigned int endBit);
    static void traceScObject(long long time, unsigned long long address, unsigned char* old,
                              unsigned char* value, unsigned int firstBit, unsigned int bitCount);
    static void traceScVirtualObject(long long time, unsigned long long address,
                                     unsigned char* value, unsigned int offset, unsigned int size);

    static DataBase* activeDataBase() { return s_pWriter ? s_pWriter->m_dataBase.get() : nullptr; }

    WriterMode m_mode = kDefaultMode;
    std::unique_ptr<DataBase> m_dataBase;
    std::function<bool()> m_waitHook;
    unsigned int m_maxTraceableSize = 0;
    DataBaseLimits m_limits;
    /// Of the file closed last.
    int m_fileError = 0;
};

} // namespace Tracewell
