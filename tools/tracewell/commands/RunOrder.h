// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/ChangeStream.h"
#include "record/Store.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// What a command writes a run as.
enum class RunFormat { Vcd, Fst, Database };

/// What the name of an output says: .vcd, .fst or .wdb. A VCD without one, and for the standard
/// output, a device or a pipe.
/// \throws Failure for another one.
RunFormat runFormatOf(const std::string& output);

/// By path: decimals that the times of a VCD have beyond its timescale.
using FinerTimes = std::map<std::string, int>;

/// A run that a command makes of others.
struct RunOrder
{
    /// The command, a verb, and what it is doing.
    const char* verb;
    const char* progress;
    /// Empty for a run that is made anew in its place.
    std::vector<std::string> inputs;
    std::string output;
    RunFormat format;
    /// Of a database.
    Store store;
};

/// Opens what is to be written.
using OpenRun = std::function<std::unique_ptr<ChangeStream>(const FinerTimes&)>;

/// Opens one input, of any format.
std::unique_ptr<ChangeStream> openInputRun(const std::string& path, const FinerTimes& finer,
                                           bool isLenient, Reach reach);

/// Calls `work` once, and again whenever the times of an input turn out to be finer than they were
/// taken for.
void withFinerTimes(const std::function<void(const FinerTimes&)>& work);

/// Writes the run that `open` gives, and says what it lacks. After a failure what was there stays
/// as it was.
/// \throws Failure, CLI::RuntimeError
void makeRun(const RunOrder& order, const OpenRun& open);

} // namespace tracewell
