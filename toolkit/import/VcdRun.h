// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/vcd/VcdInput.h"
#include "formats/vcd/VcdReader.h"
#include "import/SignalRecorder.h"
#include "names/DataLayout.h"
#include "names/Declarations.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tracewell {

/// A simulation that runs by a VCD: reads the declarations, then hands the changes to a writer.
class VcdRun
{
public:
    struct Reading
    {
        /// Times have so many decimals more than the input's timescale says.
        int fractionDigits = 0;
        /// Reads on where a strict reading refuses, as VcdReader tells.
        bool isLenient = false;
    };
    using ReadHook = std::function<void(const VcdInput&)>;
    using TimeHook = std::function<void(long long time)>;

    /// Reads the declarations; open the writer afterwards. `onRead` is called before every read and
    /// several times a second while a pipe is silent.
    /// \throws Failure
    VcdRun(const std::string& path, Tracewell::IWdbWriter& writer, const MakeSink& makeSink,
           Reading reading, const ReadHook& onRead);
    VcdRun(const VcdRun&) = delete;
    VcdRun& operator=(const VcdRun&) = delete;

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

    const VcdInput& input() const { return m_input; }
    const Declarations& declarations() const { return m_declarations; }
    const DataLayout& layout() const { return *m_layout; }
    ValueRecorder& values() { return m_recorder->values(); }
    const ValueRecorder& values() const { return m_recorder->values(); }
    /// After the end: the place and what is wrong there, when the input ended too soon or not all
    /// of it was taken; one line, without its name. `done` is what was done with what was there, as
    /// in "kept". Empty when all is well.
    std::string shortfall(std::string_view done) const;
    /// After the end: what a lenient reading let pass, in the same form.
    std::string lenience() const { return m_reader->oddities().describe(); }

private:
    void requireRepeatable() const;
    void apply(const VcdChange& change);
    void refuse(const std::string& complaint);

    VcdInput m_input;
    int m_fractionDigits;
    /// The input ended before the declarations did.
    bool m_isTableCutOff = false;
    Declarations m_declarations;
    std::unique_ptr<DataLayout> m_layout;
    std::unique_ptr<SignalRecorder> m_recorder;
    std::unique_ptr<VcdReader> m_reader;
};

} // namespace tracewell
