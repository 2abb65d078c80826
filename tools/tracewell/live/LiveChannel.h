#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tracewell {

/// Where a simulation and its viewer meet: a snapshot, below a directory, and a number. The options
/// of both sides.
class LiveChannel
{
public:
    void addTo(CLI::App& command);

    /// Makes the library look below the directory. Before anything else here.
    /// \throws CommandError when there is no such directory.
    void enter();

    int number() const { return m_number; }
    const std::string& snapshot() const { return m_snapshot; }
    /// The file in which the simulation leaves its names.
    std::string debugFile() const;
    /// For messages: "channel 0 of snapshot live in /home/me".
    std::string describe() const;
    /// The options that make the other side meet this one, with a blank in front; empty for the
    /// usual ones.
    std::string optionText() const;

private:
    int m_number = 0;
    std::string m_snapshot = "live";
    std::string m_directory = ".";
};

} // namespace tracewell
