// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/ghw/GhwInput.h"
#include "formats/ghw/GhwSignals.h"
#include "formats/ghw/GhwTypes.h"
#include "formats/run/RunReader.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// The run that a GHW file of GHDL holds, read as it is written: a pipe will do. Times are
/// femtoseconds. Integers are 32 bits with a sign; physical values are their counts of the base
/// unit, times 64 bits of femtoseconds; enumerations are the numbers of their literals, with these
/// as the names of values.
class GhwRunReader : public RunReader
{
public:
    /// `onRead` is called before every read and several times a second while a pipe is silent.
    /// \throws Failure
    GhwRunReader(std::unique_ptr<ByteSource> source, std::string name,
                 std::function<void()> onRead);

    const Declarations& declarations() const override { return m_signals.declarations; }
    bool next(RunChange& change) override;
    [[noreturn]] void refuse(const std::string& why) override { m_input.fail(why); }
    const std::string& name() const override { return m_input.name(); }
    double progress() const override;
    unsigned long long bytesRead() const override { return m_input.position(); }
    unsigned long long expectedSize() const override { return m_input.source().expectedSize(); }
    std::string shortfall(std::string_view done) const override;
    bool isRepeatable() const override { return m_input.source().isRepeatable(); }

private:
    enum class Part { Sections, Cycle, NextCycle, End };

    void readHeader();
    void readDesign();
    void findUsers();
    /// To the next values that are of one time. False at the end.
    bool readStep();
    void readSnapshot();
    void readChanges();
    void take(std::uint32_t scalar);
    bool giveValue(std::uint32_t object, RunChange& change);

    GhwInput m_input;
    GhwTypes m_types;
    GhwSignals m_signals;
    /// By scalar: its present value, and the objects that have it: where they begin in m_users.
    std::vector<std::int64_t> m_values;
    std::vector<std::uint32_t> m_userStarts;
    std::vector<std::uint32_t> m_users;
    /// Scalars that have a type, in order, by what the changes count.
    std::vector<std::uint32_t> m_order;
    std::vector<char> m_isTouched;
    std::vector<std::uint32_t> m_touched;
    std::size_t m_given = 0;
    Part m_part = Part::Sections;
    long long m_time = 0;
    bool m_hasToldTime = true;
    bool m_hasEnded = false;
    bool m_isCutOff = false;
    std::string m_text;
};

} // namespace tracewell
