// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace Tracewell {
struct WdbEventDatabaseHeader;
class WdbFileManager;
} // namespace Tracewell

namespace tracewell {

/// Up to when all of a recording in an event database is in the file. A writer that is at work, or
/// was killed, has brought its buckets there one by one, and not equally far.
struct Wholeness
{
    /// The writer came to its end. So it is taken, for want of a better answer, where nothing tells
    /// of an event behind time 0.
    bool isClosed = true;
    /// Something tells whether it is so.
    bool isKnown = true;
    /// False where nothing tells, and there is no event either: a writer that ended so, or one that
    /// has just begun.
    bool hasEvents = true;
    /// Of one that is not closed: every event up to and with this time can be read. Below 0 when
    /// that is so for no time.
    long long upTo = -1;
    /// The bucket that ends first; -1 where that is not what the time follows from.
    long long bucket = -1;
    /// Buckets that were written to and list no event.
    unsigned long long emptyBuckets = 0;
};

/// Reads the end of each bucket; nothing but the header is trusted. What is read of the file
/// afterwards is whole up to that time, whatever a writer does meanwhile.
Wholeness findWholeness(Tracewell::WdbFileManager& file,
                        const Tracewell::WdbEventDatabaseHeader& header);

} // namespace tracewell
