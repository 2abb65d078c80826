// SPDX-License-Identifier: BSD-3-Clause

#include "wave/WaveFile.h"

#include "input/FileKind.h"
#include "wave/ColumnWaveFile.h"
#include "wave/EventWaveFile.h"
#include "wave/ImportedWaveFile.h"
#include "wave/TransitionWaveFile.h"

namespace tracewell {

std::unique_ptr<WaveFile> WaveFile::open(const std::string& path, Reach reach)
{
    if (isRun(path)) {
        return std::make_unique<ImportedWaveFile>(path);
    }
    switch (findFileKind(path)) {
    case FileKind::Transitions:
        return std::make_unique<TransitionWaveFile>(path);
    case FileKind::Columns:
        return std::make_unique<ColumnWaveFile>(path, reach);
    case FileKind::Events:
        break;
    }
    return std::make_unique<EventWaveFile>(path, reach);
}

} // namespace tracewell
