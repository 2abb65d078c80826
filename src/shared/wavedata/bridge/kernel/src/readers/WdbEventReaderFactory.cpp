// SPDX-License-Identifier: BSD-3-Clause

#include "WdbEventReaderFactory.h"

#include "WdbLiveReader.h"
#include "WdbStaticReader.h"

namespace Tracewell {

WdbEventReaderFactory& WdbEventReaderFactory::getInstance()
{
    static WdbEventReaderFactory instance;
    return instance;
}

WdbIEventReader* WdbEventReaderFactory::create(ReaderType type)
{
    switch (type) {
    case StaticReader:
        return new WdbStaticReader;
    case LiveReader:
        return new WdbLiveReader;
    }
    return nullptr;
}

} // namespace Tracewell
