// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"

#include <atomic>
#include <cstddef>
#include <vector>

namespace Tracewell {

/// A place in a file that a reader could not make sense of, and went on without.
struct WdbDamage
{
    enum Kind : int {
        SectionEntry = 0,       ///< of the table of contents
        Section = 1,            ///< its bytes, which an entry of the table gives
        ListNode = 2,           ///< of the table of contents, or of a bucket's list
        EventBlock = 3,         ///< what follows it in its bucket may come all the same
        IndexNode = 4,          ///< of an index by time, or the header of one
        IndexRecord = 5,        ///< with the place of an event block
        TextNode = 6,           ///< a list node of the string map
        TextBlock = 7,          ///< of the string map
        TransitionTree = 8,     ///< of an object
        TransitionBlock = 9,    ///< of an object
        InitialTransition = 10, ///< an object's value at time 0
        ColumnSegment = 11,     ///< of a recording in columns, or what lists them
    };

    Kind m_kind = SectionEntry;
    /// In the file, as what led there says: it may lie outside.
    long long m_offset = 0;
    /// In bytes, so far as it is known; 0 otherwise.
    unsigned long long m_size = 0;
    /// The first address of the bucket, or the id of the object; -1 when that is not known.
    long long m_owner = -1;
    /// A file whose writer is at work, or was killed, looks like this without being damaged.
    bool m_isOnlyWhenClosed = false;
    /// Whether the history is whole, so far as it is this place's, before m_time.
    bool m_hasTime = false;
    long long m_time = 0;
};

/// What the readers of one file met. Reading goes on over damage, with what is whole of it: a block
/// that cannot be unpacked ends at the damage, a list ends at a node that is not there, and the
/// answers are poorer by what was lost. Here a viewer learns that they are, and where. Places that
/// nobody reads are not looked at.
///
/// A file manager and a DataBase have one each, for as long as they live. Any thread.
class TRACEWELL_API WdbDamageLog
{
public:
    /// So many different places are kept, the first ones. The last of them takes over the time of
    /// any other that ends earlier.
    static constexpr std::size_t kMostPlaces = 64;

    WdbDamageLog();
    WdbDamageLog(const WdbDamageLog&) = delete;
    WdbDamageLog& operator=(const WdbDamageLog&) = delete;
    ~WdbDamageLog();

    /// Takes a place in, once; for the readers of the library.
    void note(const WdbDamage& damage);
    /// What is damage only when the writer has come to its end is forgotten, and not noted from
    /// here on: it has not.
    void setNeverClosed();
    /// How often damage was met; a place counts each time. Takes no lock, so that whoever reads
    /// step by step can look after each.
    unsigned long long getCount() const { return m_count.load(std::memory_order_acquire); }
    /// In the order in which they were met.
    std::vector<WdbDamage> getPlaces() const;
    void clear();

private:
    std::atomic<unsigned long long> m_count{0};
    mutable Mutex m_mutex;
    std::vector<WdbDamage> m_places TRACEWELL_GUARDED_BY(m_mutex);
    bool m_isNeverClosed TRACEWELL_GUARDED_BY(m_mutex) = false;
};

} // namespace Tracewell
