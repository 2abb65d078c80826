// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <limits>

namespace Tracewell {

class WdbFileManager;

/// The section "Tracewell Mark" of a container: a time up to which everything recorded is in the
/// file. It is for readers of a file that was never closed, whose buckets and texts came there one
/// by one. 15 bytes, so that there is an i64 among them at an offset that is a multiple of 8; it is
/// rewritten as a whole, so a reader beside the writer, or after its death, finds one value or the
/// next.
///
/// A writer that marks keeps to the order: first all events and texts of that time and before, with
/// the nodes that list them, then the mark.
class TRACEWELL_API WdbWholeMark
{
public:
    static constexpr const char* kSectionId = "Tracewell Mark";
    static constexpr unsigned int kVersion = 1;
    /// No time; what the section begins with.
    static constexpr long long kNothing = -1;
    /// Everything that was recorded; the writer came to its end.
    static constexpr long long kClosed = std::numeric_limits<long long>::max();

    /// Adds the section, which says nothing yet.
    void create(WdbFileManager& file);
    /// Everything up to and with this time, which is never negative otherwise, is in the file.
    /// Nothing happens without a section.
    void set(WdbFileManager& file, long long time) const;
    /// False when the file has no such section.
    static bool find(const WdbFileManager& file, long long& time);

private:
    long long m_offset = 0;
};

} // namespace Tracewell
