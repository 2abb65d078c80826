#pragma once

#include "IWdbWriter.h"
#include "TracewellExport.h"

namespace Tracewell {

/// Writes a `.wdb` container inside the simulating process.
class TRACEWELL_API WdbStandAloneWriter : public IWdbWriter
{
public:
    WdbStandAloneWriter();
    ~WdbStandAloneWriter() override;
    // The operations of IWdbWriter follow, see there.

    /// After it, everything traced so far is readable by a reader that opens the file now, and
    /// survives the death of this process.
    void flush();
};

} // namespace Tracewell

/// The library's stand-alone writer. A process uses either this one or the one of WriterFactory.
extern "C" TRACEWELL_API Tracewell::IWdbWriter* qtracewell_getStandAloneWdbWriter();
