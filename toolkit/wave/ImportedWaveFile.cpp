// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ImportedWaveFile.h"

#include "import/TemporaryRecording.h"
#include "wave/ColumnWaveFile.h"

namespace tracewell {

ImportedWaveFile::ImportedWaveFile(const std::string& path) : WaveFile(path)
{
    // The file stays while it is open.
    const TemporaryRecording recording(path);
    m_file = std::make_unique<ColumnWaveFile>(recording.path());
    m_shortfalls = recording.shortfalls();
    m_notices = recording.notices();
    take(m_file->declarations());
}

std::vector<std::string> ImportedWaveFile::shortfalls() const
{
    std::vector<std::string> lines = m_shortfalls;
    const std::vector<std::string> own = m_file->shortfalls();
    lines.insert(lines.end(), own.begin(), own.end());
    return lines;
}

std::vector<std::string> ImportedWaveFile::notices() const
{
    std::vector<std::string> lines = m_notices;
    const std::vector<std::string> own = m_file->notices();
    lines.insert(lines.end(), own.begin(), own.end());
    return lines;
}

} // namespace tracewell
