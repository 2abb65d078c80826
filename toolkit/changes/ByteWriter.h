// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "IWdbWriter.h"

#include <string>

namespace tracewell {

/// A writer of this program's own, for a SignalRecorder with the layout of an event database: what
/// the trace functions are given comes down to bytes at addresses. Trace functions are plain
/// functions, so they serve the one writer that was made current last.
class ByteWriter : public Tracewell::IWdbWriter
{
public:
    ~ByteWriter() override
    {
        if (s_current == this) {
            s_current = nullptr;
        }
    }

    void makeCurrent() { s_current = this; }

    TraceVhdlFunc getTraceVhdlFunc() override { return &trace; }
    TraceVlogFunc getTraceVlogFunc() override { return &traceVector; }
    void setBaseDPOffset(long long offset) override { m_base = offset; }
    const unsigned char* memory() const { return reinterpret_cast<const unsigned char*>(m_base); }

    // Nothing calls these for such a layout, or they have no meaning here.

    TraceVhdlFuncScalar getTraceVhdlFuncScalar() override { return nullptr; }
    TraceScObjectFunc getTraceScObjectFunc() override { return nullptr; }
    TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override { return nullptr; }
    void open(WriterMode, const std::string&, const std::string&, int) override {}
    void close() override {}
    void restart() override {}
    void setMaxTraceableSize(unsigned int) override {}
    void markCurrentTime(long long) override {}
    void setApplication(const std::string&) override {}
    void setAddressSize(long long) override {}
    void setBucketDivision(unsigned int) override {}
    void setFilterRepeatedValue(bool) override {}

protected:
    virtual void write(long long time, long long address, unsigned int length,
                       const unsigned char* value) = 0;

private:
    static void trace(long long time, unsigned int id, unsigned int size, unsigned char* old,
                      unsigned char* value);
    static void traceVector(long long time, unsigned int id, unsigned int kind, unsigned char* old,
                            unsigned char* value, unsigned int firstBit, unsigned int endBit);

    static ByteWriter* s_current;

    long long m_base = 0;
};

} // namespace tracewell
