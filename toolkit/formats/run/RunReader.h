// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/run/RunChange.h"
#include "names/Declarations.h"

#include <string>
#include <string_view>

namespace tracewell {

/// A run in some format, read once from front to back: what a room of a format offers. It is made
/// with the declarations read. One thread.
class RunReader
{
public:
    RunReader() = default;
    RunReader(const RunReader&) = delete;
    RunReader& operator=(const RunReader&) = delete;
    virtual ~RunReader() = default;

    /// Valid for the reader's life.
    virtual const Declarations& declarations() const = 0;

    /// The next step; false at the end. Times ascend and are never below 0; what comes before the
    /// first belongs to time 0. The text of `change` is valid until the next call.
    /// \throws Failure for what cannot be read on, with file, place and remedy.
    virtual bool next(RunChange& change) = 0;

    /// Ends the command: the change last given cannot be used.
    [[noreturn]] virtual void refuse(const std::string& why) = 0;
    /// The same for one whose value makes no sense, unless the reading is lenient.
    virtual void refuseValue(const std::string& why) { refuse(why); }

    /// What messages call the input.
    virtual const std::string& name() const = 0;
    /// How much of the input is read, 0 to 1; 0 where that is not known.
    virtual double progress() const = 0;
    /// Bytes, unpacked, that were read so far, and that are to be expected in all; 0 where that is
    /// not known.
    virtual unsigned long long bytesRead() const = 0;
    virtual unsigned long long expectedSize() const = 0;

    /// After the end: the place and what is wrong there, when the input ended too soon or not all
    /// of it was taken; one line, without its name. `done` is what was done with what was there, as
    /// in "kept". Empty when all is well.
    virtual std::string shortfall(std::string_view done) const = 0;
    /// After the end: what a lenient reading let pass, in the same form.
    virtual std::string lenience() const { return {}; }

    /// Decimals that the times so far have, at least; those beyond the ones asked for were dropped.
    virtual int neededFractionDigits() const { return 0; }
    /// An input that can be read from its start again.
    virtual bool isRepeatable() const = 0;
};

} // namespace tracewell
