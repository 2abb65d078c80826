// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <functional>
#include <string>

namespace Tracewell {

/// Takes a line, without an end of line, about storage that broke.
using StorageFailureHandler = std::function<void(const std::string& line)>;

/// What becomes of the process when a transfer to or from a file fails (a full disk, say). Without
/// a handler the library prints a line that begins with "WDB FATAL ERROR: " on the standard error
/// stream and ends the process with status 1; for a viewer that may be right, for a simulation of
/// many hours it is not.
///
/// With a handler the same line goes to it, once for each file, and the process goes on. Nothing
/// more is written to that file or read from it: what had reached it is there, and a reader says of
/// it that it was not closed. A writer of that file stops tracing at the next time mark, flush or
/// close, and tells the handler so in one line more; its trace functions do nothing from there on,
/// and it can be opened anew. A transition database, which by itself goes on over a file that it
/// cannot write, stops too, and leaves the file unfinished.
///
/// The handler runs on the thread that met the failure, which can be a helper thread of the
/// library, while locks of the library are held: it must not call the library, nor throw. An empty
/// handler brings the first behaviour back. Any thread may call this.
TRACEWELL_API void setStorageFailureHandler(StorageFailureHandler handler);

} // namespace Tracewell
