#include "WdbEventReaderFactory.h"

#include "WdbStaticReader.h"

namespace Tracewell {

WdbEventReaderFactory& WdbEventReaderFactory::getInstance()
{
    static WdbEventReaderFactory instance;
    return instance;
}

WdbIEventReader* WdbEventReaderFactory::create(ReaderType type)
{
    return type == StaticReader ? new WdbStaticReader : nullptr;
}

} // namespace Tracewell
