// SPDX-License-Identifier: BSD-3-Clause

#include "commands/RecordingOrder.h"

#include "files/Interrupt.h"
#include "files/OutputFile.h"
#include "files/OutputSuffix.h"
#include "files/WatchedProcess.h"
#include "record/SnapshotDirectory.h"
#include "text/Failure.h"
#include "text/Message.h"

#include <fmt/format.h>

#include <new>

#include <unistd.h>

namespace tracewell {

void makeRecording(
    const RecordingOrder& order,
    const std::function<void(OutputFile&, SnapshotDirectory&, const InterruptGuard&)>& make)
{
    if (order.store) {
        requireDatabaseName(order.output);
    }
    const InterruptGuard interrupt;
    const bool isWholeAlone = !order.store || order.store == Store::Transitions;
    OutputFile output(order.output, isWholeAlone ? OutputKind::WholeFile : OutputKind::RegularFile,
                      order.input);
    if (output.isReplacement() && order.isReadMeanwhile) {
        tell(fmt::format("{} stays as it is until this ends; what is read meanwhile is in {}",
                         output.name(), output.path()));
    }
    SnapshotDirectory directory(order.output);
    output.start();
    const WatchedEnd end = runWatched([&] {
        try {
            make(output, directory, interrupt);
        } catch (const std::bad_alloc&) {
            output.discard();
            throw Failure(fmt::format(
                "{}: does not fit into the memory while it is made; "
                "dump fewer variables{}",
                order.output,
                order.store == Store::Transitions ? ", or leave --store transitions out" : ""));
        } catch (...) {
            output.discard();
            throw;
        }
    });
    if (!order.store) {
        // Where the writer of FST keeps the names until it ends.
        ::unlink((output.path() + ".hier").c_str());
    }
    switch (end.kind) {
    case WatchedEnd::Kind::Done:
        output.keep();
        break;
    case WatchedEnd::Kind::InPart:
        output.keep();
        throw Failure(end.text);
    case WatchedEnd::Kind::Failed:
        // The other process has taken its output away.
        output.keep();
        throw Failure(output.named(end.text), end.exitCode);
    case WatchedEnd::Kind::Aborted:
        throw Failure(fmt::format("{}: cannot be written: {}; the unfinished output was "
                                  "removed; make room there and {} again",
                                  order.output, end.text, order.verb));
    case WatchedEnd::Kind::Killed:
        if (isWholeAlone || output.isReplacement()) {
            throw Failure(fmt::format("{0}: the {2} was ended by {1}; the unfinished output "
                                      "was removed; {2} again",
                                      order.output, end.text, order.verb));
        }
        output.keep();
        throw Failure(fmt::format("{0}: the {2} was ended by {1}; what had reached the file "
                                  "is there, and it is not closed; {2} again",
                                  order.output, end.text, order.verb));
    }
}

} // namespace tracewell
