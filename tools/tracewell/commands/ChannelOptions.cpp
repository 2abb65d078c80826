// SPDX-License-Identifier: BSD-3-Clause

#include "commands/ChannelOptions.h"

#include "commands/OptionValues.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

namespace tracewell {

namespace {

constexpr int kMostChannels = 1000000;
/// A directory of that name is made.
constexpr std::size_t kLongestSnapshot = 200;

std::string checkSnapshot(const std::string& name)
{
    if (name.empty() || name == "." || name == ".." || name.size() > kLongestSnapshot ||
        name.find_first_of("/\\") != std::string::npos) {
        return fmt::format("\"{}\" is no snapshot's name; it is that of a directory, without "
                           "separators",
                           name);
    }
    return {};
}

} // namespace

void addChannelOptions(CLI::App& command, ChannelPlace& place)
{
    command.add_option("--channel", place.number, "Number of the channel; 0 if not given")
        ->type_name("N")
        ->transform(wholeNumber(0, kMostChannels));
    command
        .add_option("--snapshot", place.snapshot,
                    "Name of the simulated design; \"live\" if not given. Both sides name the same")
        ->type_name("S")
        ->check(CLI::Validator([](std::string& name) { return checkSnapshot(name); }, "", "name"));
    command
        .add_option("--dir", place.directory,
                    "The directory in which the simulation runs; this one if not given. Both "
                    "sides name the same")
        ->type_name("DIR");
}

} // namespace tracewell
