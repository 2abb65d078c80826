// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <string>

namespace Tracewell {

/// What a simulation kernel holds. The kernel sets it up, opens it, fetches the five trace
/// functions once and calls them from its inner loop on the simulation's thread; they are plain
/// functions that find their writer through a static pointer. Times are signed 64-bit counts of
/// simulation time.
///
/// Vectors lie in memory as groups of 32 bits, 8 bytes each: an a-word, then a b-word. The
/// four-state code of a bit is its a-bit plus twice its b-bit. Bit n is in group n / 32.
class TRACEWELL_API IWdbWriter
{
public:
    enum WriterMode : int { kDefaultMode = 0, kLiveMode = 1, kPostMode = 2 };

    // Of the trace functions, `old` is the object's place in the data memory, from which its
    // address follows, and `value` what it takes at `time`; both are only read, and only during the
    // call. An event-based writer has no use for `id`.

    /// `kind` bytes of `value` to an event-based writer.
    using TraceVhdlFunc = void (*)(long long time, unsigned int id, unsigned int kind,
                                   unsigned char* old, unsigned char* value);
    /// Does nothing in the stand-alone writer: there is no `old` to tell the address.
    using TraceVhdlFuncScalar = void (*)(long long time, unsigned int id, unsigned int kind,
                                         const unsigned char* value);
    /// Bits `firstBit` up to, not including, `endBit` of the vector at `old` change. `value` has
    /// groups of its own: the first bit that changes is bit 0 of its first group. All groups that
    /// the change touches are recorded, with the other bits as they are at `old`.
    using TraceVlogFunc = void (*)(long long time, unsigned int id, unsigned int kind,
                                   unsigned char* old, unsigned char* value, unsigned int firstBit,
                                   unsigned int endBit);
    /// The same for `bitCount` bits, at an address that the caller gives. A writer of a file marks
    /// the time.
    using TraceScObjectFunc = void (*)(long long time, unsigned long long address,
                                       unsigned char* old, unsigned char* value,
                                       unsigned int firstBit, unsigned int bitCount);
    /// `size` bytes at `address` + `offset`. A writer of a file marks the time.
    using TraceScVirtualObjectFunc = void (*)(long long time, unsigned long long address,
                                              unsigned char* value, unsigned int offset,
                                              unsigned int size);

    virtual ~IWdbWriter();
    virtual void open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
                      int option) = 0;
    virtual TraceVhdlFunc getTraceVhdlFunc() = 0;
    virtual TraceVhdlFuncScalar getTraceVhdlFuncScalar() = 0;
    virtual TraceVlogFunc getTraceVlogFunc() = 0;
    virtual TraceScObjectFunc getTraceScObjectFunc() = 0;
    virtual TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() = 0;
    /// The text's id, to be traced as a number.
    virtual long long addString(const std::string& text) = 0;
    virtual void close() = 0;
    virtual void restart() = 0;
    virtual void setMaxTraceableSize(unsigned int size) = 0;
    /// Simulated time has come to `time`.
    virtual void markCurrentTime(long long time) = 0;
    /// Where the data memory starts: an object's address is its place minus this.
    virtual void setBaseDPOffset(long long offset) = 0;
    virtual void setApplication(const std::string& application) = 0;
    /// Bytes of data memory; read by open.
    virtual void setAddressSize(long long size) = 0;
    /// Addresses a bucket; read by open.
    virtual void setBucketDivision(unsigned int division) = 0;
    /// Whether the event database drops what one time overwrote.
    virtual void setFilterRepeatedValue(bool filter) = 0;
};

} // namespace Tracewell
