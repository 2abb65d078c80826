// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/fst/FstHierarchy.h"
#include "formats/fst/FstKeywords.h"
#include "formats/fst/FstUnpack.h"
#include "formats/run/RunChange.h"
#include "input/SpooledFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// A block of changes: for each variable the values that it had, one behind the other, with the
/// places of their times in a table of all times of the block. Gives them in the order of time.
class FstBlock
{
public:
    /// Keeps references to both.
    FstBlock(const SpooledFile& file, const FstNames& names) : m_file(file), m_names(names) {}

    /// Makes ready to give the changes of the block whose length stands at `at`. `showsStart` is
    /// for its first values, which are those that it begins with; of a block in the midst they are
    /// those of the end of the block before. False when the block makes no sense.
    bool open(FstBlockKind kind, unsigned long long at, unsigned long long length, bool showsStart);

    /// The next change or time; false at the end of the block, or where it makes no sense.
    bool next(RunChange& change);
    bool isDamaged() const { return m_isDamaged; }
    long long firstTime() const { return m_firstTime; }
    long long lastTime() const { return m_lastTime; }

private:
    static constexpr std::uint32_t kNone = 0xffffffffU;

    /// Where a variable's changes go on.
    struct Chain
    {
        const unsigned char* at = nullptr;
        const unsigned char* end = nullptr;
        /// The next variable with a change at the same time.
        std::uint32_t next = kNone;
    };

    struct Place
    {
        unsigned long long offset = 0;
        unsigned long long size = 0;
        /// Of one that has the changes of another one: that.
        std::uint32_t alias = kNone;
    };

    bool readTimes(unsigned long long at, unsigned long long end, unsigned long long& timesStart);
    bool readFrame(unsigned long long& at, unsigned long long end, bool showsStart);
    bool readPlaces(FstBlockKind kind, const FstBytes& index, std::size_t count,
                    unsigned long long dataSize);
    bool readPlacesOfOld(const FstBytes& index, std::size_t count, unsigned long long& last);
    bool readPlacesOfNew(const FstBytes& index, std::size_t count, unsigned long long& last);
    bool unpackChains(unsigned long long start, unsigned char method);
    bool unpackChain(const FstBytes& data, unsigned char method, FstBytes& out) const;
    /// Puts the variable to the time of its next change. False where that makes no sense.
    bool queue(std::uint32_t variable, std::size_t from);
    bool readValue(std::uint32_t variable, RunChange& change);
    bool startValue(RunChange& change);
    bool fail()
    {
        m_isDamaged = true;
        return false;
    }

    const SpooledFile& m_file;
    const FstNames& m_names;
    bool m_isDamaged = false;
    long long m_firstTime = 0;
    long long m_lastTime = 0;
    std::vector<long long> m_times;
    /// By place in m_times: the first variable with a change then.
    std::vector<std::uint32_t> m_firstOfTime;
    std::vector<Place> m_places;
    std::vector<Chain> m_chains;
    std::vector<FstBytes> m_unpacked;
    FstBytes m_frame;
    std::size_t m_frameAt = 0;
    std::uint32_t m_frameVariable = 0;
    std::uint32_t m_frameVariables = 0;
    bool m_hasToldStart = true;
    std::size_t m_time = 0;
    bool m_hasTime = false;
    std::uint32_t m_variable = kNone;
    std::string m_text;
};

} // namespace tracewell
