// SPDX-License-Identifier: BSD-3-Clause

#include "wave/WaveFile.h"

#include "input/FileKind.h"
#include "wave/EventWaveFile.h"
#include "wave/TransitionWaveFile.h"

namespace tracewell {

std::unique_ptr<WaveFile> WaveFile::open(const std::string& path, Reach reach)
{
    if (findFileKind(path) == FileKind::Transitions) {
        return std::make_unique<TransitionWaveFile>(path);
    }
    return std::make_unique<EventWaveFile>(path, reach);
}

} // namespace tracewell
