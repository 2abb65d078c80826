#include "recording/ChangeStream.h"

#include "recording/EventChanges.h"
#include "recording/TransitionChanges.h"
#include "wave/FileKind.h"

namespace tracewell {

std::unique_ptr<ChangeStream> ChangeStream::open(const std::string& path)
{
    if (findFileKind(path) == FileKind::Transitions) {
        return std::make_unique<TransitionChanges>(path);
    }
    return std::make_unique<EventChanges>(path);
}

} // namespace tracewell
