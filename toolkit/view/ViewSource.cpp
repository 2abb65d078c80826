// SPDX-License-Identifier: BSD-3-Clause

#include "view/ViewSource.h"

namespace tracewell {

FileSource::FileSource(const std::string& path, Reach reach) : m_file(WaveFile::open(path, reach))
{
    m_file->requireNames();
}

} // namespace tracewell
