// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/Signal.h"
#include "wave/SignalNames.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// True when `pattern` fits the whole of `text`: '*' stands for any characters, '?' for one, and
/// everything else for itself ('[' and ']' belong to names).
bool matchesGlob(std::string_view pattern, std::string_view text);

/// All variables of the recording, in the order of declaration.
std::vector<Signal> allSignals(const SignalNames& file);

/// The object that a signal of the name table is, or is a part of: an index into
/// Declarations::objects.
std::uint32_t objectOf(const SignalNames& file, const Signal& signal);

/// The signals that the arguments name, each once, in the order of the arguments. An argument is
/// - a full name ("top.dut.data[7:0]"), also without its range and with a leading ".";
/// - a full name with "#1", "#2", ... behind it: one of several variables with that name;
/// - some bits of a vector, "top.bus[7:4]" or "top.bus[3]", when no name is just like it;
/// - a pattern of matchesGlob;
/// - a scope ("top.dut", or "top.dut." where a variable has that name too): all variables in it and
///   in the scopes below;
/// - "@ADDRESS" or "@ADDRESS:BYTES": a run of bytes, for recordings without names too.
/// \throws Failure when an argument fits nothing; it names the nearest names.
std::vector<Signal> selectSignals(const SignalNames& file,
                                  const std::vector<std::string>& arguments);

} // namespace tracewell
