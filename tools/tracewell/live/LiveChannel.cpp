#include "live/LiveChannel.h"

#include "CommandError.h"
#include "commands/OptionValues.h"

#include "OutputFileNames.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <system_error>

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

void LiveChannel::addTo(CLI::App& command)
{
    command.add_option("--channel", m_number, "Number of the channel; 0 if not given")
        ->type_name("N")
        ->transform(wholeNumber(0, kMostChannels));
    command
        .add_option("--snapshot", m_snapshot,
                    "Name of the simulated design; \"live\" if not given. Both sides name the same")
        ->type_name("S")
        ->check(CLI::Validator([](std::string& name) { return checkSnapshot(name); }, "", "name"));
    command
        .add_option("--dir", m_directory,
                    "The directory in which the simulation runs; this one if not given. Both "
                    "sides name the same")
        ->type_name("DIR");
}

void LiveChannel::enter()
{
    std::error_code error;
    const std::filesystem::path directory = std::filesystem::canonical(m_directory, error);
    if (error || !std::filesystem::is_directory(directory, error)) {
        throw CommandError(fmt::format("{}: is no directory; give --dir the one in which the "
                                       "simulation runs",
                                       m_directory));
    }
    m_directory = directory.string();
    ZSIM::OutputFileNames::setZSimDirLocation(m_directory.c_str());
}

std::string LiveChannel::debugFile() const
{
    return ZSIM::OutputFileNames::getDbgPathName(m_snapshot);
}

std::string LiveChannel::describe() const
{
    return fmt::format("channel {} of snapshot {} in {}", m_number, m_snapshot, m_directory);
}

std::string LiveChannel::optionText() const
{
    std::string text;
    if (m_number != 0) {
        text += fmt::format(" --channel {}", m_number);
    }
    if (m_snapshot != "live") {
        text += fmt::format(" --snapshot {}", m_snapshot);
    }
    std::error_code error;
    if (m_directory != std::filesystem::current_path(error)) {
        text += fmt::format(" --dir {}", m_directory);
    }
    return text;
}

} // namespace tracewell
