// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace tracewell {

/// What a recording is kept in: a database of events by address, one with an index by time, or one
/// of transitions by object.
enum class Store { Events, Transitions, Indexed };

} // namespace tracewell
