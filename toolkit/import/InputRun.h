// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/run/RunReader.h"
#include "import/SignalRecorder.h"
#include "names/DataLayout.h"
#include "names/Declarations.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tracewell {

/// A simulation that runs by a file of any format: reads the declarations, then hands the changes
/// to a writer.
class InputRun
{
public:
    struct Reading
    {
        /// Times have so many decimals more than the input's timescale says.
        int fractionDigits = 0;
        /// Reads on where a strict reading refuses, as VcdReader tells.
        bool isLenient = false;
    };
    /// Told how much of the input is read, 0 to 1.
    using ReadHook = std::function<void(double progress)>;
    using TimeHook = std::function<void(long long time)>;

    /// Reads the declarations; open the writer afterwards. `onRead` is called before every read and
    /// several times a second while a pipe is silent.
    /// \throws Failure
    InputRun(const std::string& path, Tracewell::IWdbWriter& writer, const MakeSink& makeSink,
             Reading reading, const ReadHook& onRead);
    InputRun(const InputRun&) = delete;
    InputRun& operator=(const InputRun&) = delete;

    /// Plays all changes, each time step behind a call of `beforeTime`, if there is one. Answers
    /// the decimals of the input's times when there are more than were expected; what was recorded
    /// is worthless then, and a new run must begin. Where `canBeginAnew` is false, or the input
    /// cannot be read again, such a time is an error.
    std::optional<int> play(bool canBeginAnew, const TimeHook& beforeTime = {});

    enum class Step { Played, Ended, NeedsFinerTimes };
    /// Plays one change, or comes to the next time, unless that has more decimals than were
    /// expected: findFractionDigits() then reads on to the end and says how many a new run needs.
    Step step();
    int findFractionDigits();

    const RunReader& input() const { return *m_reader; }
    const Declarations& declarations() const { return m_reader->declarations(); }
    const DataLayout& layout() const { return *m_layout; }
    ValueRecorder& values() { return m_recorder->values(); }
    const ValueRecorder& values() const { return m_recorder->values(); }
    /// After the end: the place and what is wrong there, when the input ended too soon or not all
    /// of it was taken; one line, without its name. `done` is what was done with what was there, as
    /// in "kept". Empty when all is well.
    std::string shortfall(std::string_view done) const { return m_reader->shortfall(done); }
    /// After the end: what a lenient reading let pass, in the same form.
    std::string lenience() const { return m_reader->lenience(); }

private:
    void requireRepeatable() const;
    void apply(const RunChange& change);
    void refuse(const std::string& complaint);

    int m_fractionDigits;
    std::unique_ptr<RunReader> m_reader;
    std::unique_ptr<DataLayout> m_layout;
    std::unique_ptr<SignalRecorder> m_recorder;
};

} // namespace tracewell
