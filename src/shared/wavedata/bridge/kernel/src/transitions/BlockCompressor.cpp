#include "BlockCompressor.h"

namespace Tracewell {

void BlockCompressor::compressAndStoreData(TransVecInfo& info, BTreeElem&, bool, long long)
{
    info.count = 0;
}

void BlockCompressor::compressAndStoreData(VlogTransVecInfo& info, BTreeElem&, bool, long long)
{
    info.count = 0;
}

} // namespace Tracewell
