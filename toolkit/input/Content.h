// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "input/Unpacker.h"

#include <string>
#include <string_view>

namespace tracewell {

/// What a file holds, as its first bytes tell.
struct Content
{
    enum class Kind {
        Empty,
        Events,       ///< a wave database with events
        Transitions,  ///< one with transitions, finished or not
        OtherVersion, ///< a wave database of another version of the format
        Vcd,          ///< what starts as a VCD does
        Fst,          ///< an FST file
        Ghw,          ///< a GHW file
        Packed,       ///< what `packing` unpacks
        Foreign,      ///< a known format of others
        Unknown
    };
    Kind kind = Kind::Unknown;
    const Packing* packing = nullptr;
    /// Of a format of others: its name with an article, and what to do with a file that cannot be
    /// read.
    const char* name = "";
    const char* remedy = "";
};

/// So many bytes tell all kinds but a VCD that starts with blanks.
constexpr std::size_t kContentBytes = 24;
/// Whether it is a run that InputRun reads.
inline bool isRun(Content::Kind kind)
{
    return kind == Content::Kind::Vcd || kind == Content::Kind::Fst || kind == Content::Kind::Ghw;
}
/// How far the first keyword of a VCD is looked for.
constexpr std::size_t kLongestBlankStart = 4096;

Content contentOf(std::string_view head);

/// Why nobody can read what `content` is, and the remedy: for the kinds Packed and Foreign, and for
/// all but a VCD that lie within `packing`. Empty for others.
std::string whyUnreadable(const Content& content, const Packing* packing);

} // namespace tracewell
