// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ChangeStream.h"

#include "changes/ColumnChanges.h"
#include "changes/EventChanges.h"
#include "changes/InputChanges.h"
#include "changes/TransitionChanges.h"
#include "input/FileKind.h"

namespace tracewell {

std::unique_ptr<ChangeStream> ChangeStream::open(const std::string& path, Reach reach)
{
    switch (findFileKind(path)) {
    case FileKind::Transitions:
        return std::make_unique<TransitionChanges>(path);
    case FileKind::Columns:
        return std::make_unique<ColumnChanges>(path, reach);
    case FileKind::Events:
        break;
    }
    return std::make_unique<EventChanges>(path, reach);
}

std::unique_ptr<ChangeStream> ChangeStream::openRun(const std::string& path, int fractionDigits,
                                                    bool isLenient, Reach reach)
{
    if (isRun(path)) {
        return std::make_unique<InputChanges>(path, InputRun::Reading{fractionDigits, isLenient});
    }
    return open(path, reach);
}

bool ChangeStream::next()
{
    for (long long time = 0; peek(time);) {
        if (advance()) {
            return true;
        }
    }
    return false;
}

} // namespace tracewell
