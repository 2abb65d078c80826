// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/Declarations.h"
#include "wave/Shortfalls.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell {

/// Which changes a stream is asked for.
struct ChangeSelection
{
    /// Indices into Declarations::objects, ascending; all objects if there is none.
    std::optional<std::vector<std::uint32_t>> objects;
    /// The first step is this time's or a later one. What changed before is part of the first step,
    /// with the value that holds by then; firings of events before it are left out.
    long long from = 0;
};

/// Thrown when the times of a VCD text turn out to have decimals: its stream is worthless, and must
/// be opened again with so many.
struct FinerTimesNeeded
{
    std::string path;
    int fractionDigits;
};

/// The changes of a recording in the order of time: one step for each time at which an object's
/// value is another one than before, or at which an event fires. Whatever the recording is kept in,
/// the same run gives the same steps with the same values. Holds what the step at hand needs and
/// the present values, not the run. One thread.
class ChangeStream : public Shortfalls
{
public:
    /// Opens a wave database, whatever store it is.
    /// \throws Failure when it cannot be read, or has no names to tell its values by.
    static std::unique_ptr<ChangeStream> open(const std::string& path, Reach reach = Reach::Whole);

    /// The same for what InputRun reads as well, a pipe with it, or "-" for the standard input.
    /// Times of a VCD have `fractionDigits` decimals more than its timescale says; for `isLenient`
    /// see VcdReader.
    static std::unique_ptr<ChangeStream> openRun(const std::string& path, int fractionDigits,
                                                 bool isLenient, Reach reach = Reach::Whole);

    ChangeStream() = default;
    ChangeStream(const ChangeStream&) = delete;
    ChangeStream& operator=(const ChangeStream&) = delete;

    /// Valid from the start on, for the stream's life.
    virtual const Declarations& declarations() const = 0;

    /// Once, before the first step; a stream that is never told gives everything.
    virtual void select(const ChangeSelection& selection) = 0;

    /// The time of what comes next; false at the end.
    /// \throws Failure for what cannot be read on, with file, place and remedy; and
    /// FinerTimesNeeded.
    virtual bool peek(long long& time) = 0;

    /// Takes in all that comes at that time. False when nothing is different afterwards.
    /// \throws as peek
    virtual bool advance() = 0;

    /// Steps to the next time with a change; false at the end.
    bool next();

    /// Time of the last step, in units of the declarations' timescale. Ascending; never below 0.
    virtual long long time() const = 0;

    /// What changed in the step: indices of objects, ascending, each once. Valid until the next
    /// one.
    virtual const std::vector<std::uint32_t>& changed() const = 0;

    /// Appends a value change for each time the object changed in this step: one line, or one for
    /// each firing of an event.
    virtual void appendChange(std::string& out, std::uint32_t object) = 0;

    /// Appends the value that any selected object has from the step on, as it stands in front of
    /// the identifier code in a VCD: "1", "b101", "r0.5", "stext". Appends nothing for an object
    /// without a value so far. Of an event it is the letter of its latest firing.
    virtual void appendValue(std::string& out, std::uint32_t object) = 0;

    /// The value as it lies in a data memory (see DataLayout), for a quick comparison; null for
    /// events and strings, and where that does not tell all, or is not known.
    virtual const unsigned char* plainValue(std::uint32_t object) const = 0;

    /// How often an event fired at the step's very time; 1 for another object that changed.
    virtual unsigned long long firings(std::uint32_t object) const = 0;

    /// Up to when the recording goes: of a database known from the start, of a text once the
    /// end has come. May lie behind the last change.
    virtual long long latestTime() const = 0;

    /// What comes behind it is left out, by this stream or those that it reads: damage brings it
    /// down on the way.
    virtual long long end() const { return std::numeric_limits<long long>::max(); }

    /// How much of the recording has been gone through, 0 to 1; 0 where that is not known.
    virtual double progress() const = 0;
};

} // namespace tracewell
