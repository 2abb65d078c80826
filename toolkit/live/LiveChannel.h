// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// What names a channel; both sides name the same.
struct ChannelPlace
{
    int number = 0;
    std::string snapshot = "live";
    /// In which the simulation runs.
    std::string directory = ".";
};

/// Where a simulation and its viewer meet: a snapshot, below a directory, and a number.
class LiveChannel
{
public:
    /// To be filled in before enter().
    ChannelPlace& place() { return m_place; }

    /// Makes the library look below the directory. Before anything else here.
    /// \throws Failure when there is no such directory.
    void enter();

    int number() const { return m_place.number; }
    const std::string& snapshot() const { return m_place.snapshot; }
    /// The file in which the simulation leaves its names.
    std::string debugFile() const;
    /// For messages: "channel 0 of snapshot live in /home/me".
    std::string describe() const;
    /// The options that make the other side meet this one, with a blank in front; empty for the
    /// usual ones.
    std::string optionText() const;

private:
    ChannelPlace m_place;
};

} // namespace tracewell
