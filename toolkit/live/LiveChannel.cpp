// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveChannel.h"

#include "text/Failure.h"

#include "OutputFileNames.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace tracewell {

void LiveChannel::enter()
{
    std::error_code error;
    const std::filesystem::path directory = std::filesystem::canonical(m_place.directory, error);
    if (error || !std::filesystem::is_directory(directory, error)) {
        throw Failure(fmt::format("{}: is no directory; give --dir the one in which the "
                                  "simulation runs",
                                  m_place.directory));
    }
    m_place.directory = directory.string();
    ZSIM::OutputFileNames::setZSimDirLocation(m_place.directory.c_str());
}

std::string LiveChannel::debugFile() const
{
    return ZSIM::OutputFileNames::getDbgPathName(m_place.snapshot);
}

std::string LiveChannel::describe() const
{
    return fmt::format("channel {} of snapshot {} in {}", m_place.number, m_place.snapshot,
                       m_place.directory);
}

std::string LiveChannel::optionText() const
{
    std::string text;
    if (m_place.number != 0) {
        text += fmt::format(" --channel {}", m_place.number);
    }
    if (m_place.snapshot != "live") {
        text += fmt::format(" --snapshot {}", m_place.snapshot);
    }
    std::error_code error;
    if (m_place.directory != std::filesystem::current_path(error)) {
        text += fmt::format(" --dir {}", m_place.directory);
    }
    return text;
}

} // namespace tracewell
