// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/wdb/Wholeness.h"
#include "names/Declarations.h"
#include "names/TimeText.h"
#include "survey/Findings.h"

#include "WdbEventDatabaseHeader.h"
#include "WdbFileHeader.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// What a recording in columns holds.
struct ColumnFacts
{
    unsigned long long segments = 0;
    /// Segments that the next one takes in.
    unsigned long long shortSegments = 0;
    /// Changes that were recorded, with those that brought nothing new.
    unsigned long long changes = 0;
    unsigned long long fields = 0;
    /// What the segments take in the file.
    long long bytes = 0;
    /// Room that was given up, which the next segments take.
    long long freeBytes = 0;
    long long latestTime = 0;
};

/// Everything there is to know about a wave database without asking for a signal.
struct Survey
{
    struct Section
    {
        std::string id;
        unsigned long long version = 0;
        long long offset = 0;
        long long size = 0;
    };

    enum class Ending {
        Closed,      ///< the writer stored its latest time at the end, or the signature
        NeverClosed, ///< the writer left less than that
        Unknown      ///< all events are at time 0, or there are none, and nothing else tells
    };

    /// What a transition database holds.
    struct Transitions
    {
        /// A number that the kernel set.
        unsigned long long limit = 0;
        /// As stored, or the last transition's where that is later.
        long long latestTime = 0;
        /// Objects that have a tree.
        unsigned long long objects = 0;
        /// With a value at time 0 and no tree.
        unsigned long long constants = 0;
        unsigned long long initialValues = 0;
        unsigned long long nodes = 0;
        unsigned long long blocks = 0;
        // Of the blocks.
        unsigned long long periodicBlocks = 0;
        unsigned long long wideBlocks = 0;
        unsigned long long emptyBlocks = 0; ///< take no bytes: all gaps are the same
        unsigned long long transitions = 0;
        long long blockBytes = 0;
    };

    long long fileSize = 0;
    /// Only of a recording in columns; what is said of events is empty then.
    std::optional<ColumnFacts> columns;
    /// Only of a transition database; all of an event database is empty then.
    std::optional<Transitions> transitions;
    Tracewell::WdbFileHeader header;
    std::vector<Section> sections;

    std::optional<Tracewell::WdbEventDatabaseHeader> eventHeader;
    /// Buckets that list blocks.
    unsigned long long bucketsInUse = 0;
    unsigned long long blocks = 0;
    unsigned long long events = 0;
    /// Of all events that could be read.
    long long latestEvent = 0;
    Ending ending = Ending::Unknown;
    /// How far the events are whole.
    Wholeness wholeness;
    /// Later ones than it is whole up to.
    unsigned long long eventsBehind = 0;

    bool hasStringMap = false;
    unsigned long long stringBlocks = 0;
    unsigned long long strings = 0;

    bool hasNames = false;
    Declarations names;
    TimeText timeText;

    /// Bytes that nothing in the file points to.
    long long unclaimedBytes = 0;
    Findings findings;

    /// The stored latest time. Where none was stored, that of the last event, or the time up to
    /// which the recording is whole.
    long long latestTime() const
    {
        if (transitions) {
            return transitions->latestTime;
        }
        if (columns && ending != Ending::NeverClosed) {
            return columns->latestTime;
        }
        if (ending == Ending::NeverClosed) {
            return std::max(wholeness.upTo, 0LL);
        }
        return eventHeader && eventHeader->m_latestTime != 0 ? eventHeader->m_latestTime
                                                             : latestEvent;
    }
};

/// Reads the whole file, section by section, node by node, record by record, and trusts nothing in
/// it: what does not fit becomes a finding. Takes memory in proportion to the size of the file, and
/// time for unpacking each stored byte once. `progress` is told the fraction that is done.
/// \throws Failure when there is no file or it is no wave database.
Survey surveyFile(const std::string& path, const std::function<void(double)>& progress);

} // namespace tracewell
