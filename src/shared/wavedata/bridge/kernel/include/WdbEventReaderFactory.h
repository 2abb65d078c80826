// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbIEventReader.h"

namespace Tracewell {

class TRACEWELL_API WdbEventReaderFactory
{
public:
    enum ReaderType : int { StaticReader = 0, LiveReader = 1 };

    static WdbEventReaderFactory& getInstance();
    /// A new reader, owned by the caller; null for a type that is not known.
    WdbIEventReader* create(ReaderType type);

private:
    WdbEventReaderFactory() = default;
};

} // namespace Tracewell
