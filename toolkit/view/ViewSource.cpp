// SPDX-License-Identifier: BSD-3-Clause

#include "view/ViewSource.h"

namespace tracewell {

FileSource::FileSource(const std::string& path, Reach reach) : m_file(WaveFile::open(path, reach))
{
    m_file->requireNames();
}

std::vector<std::string> FileSource::shortfalls() const
{
    std::vector<std::string> lines = m_file->notices();
    const std::vector<std::string> lacking = m_file->shortfalls();
    lines.insert(lines.end(), lacking.begin(), lacking.end());
    return lines;
}

} // namespace tracewell
