// SPDX-License-Identifier: BSD-3-Clause

#include "DrawingFile.h"

#include "QsimException.h"

#include <boost/filesystem/operations.hpp>

namespace Tracewell {

namespace {

using Lock = CheckedLock<boost::recursive_mutex>;

/// From here on a path is too long for some systems.
constexpr std::size_t kLongPath = 260;

[[noreturn]] void throwCannotCreate(const std::string& name)
{
    std::string message = "Cannot create temporary waveform data file ";
    for (const char character : name) {
        message.append(character == '%' ? 2 : 1, character); // The exception reads "%%" as "%".
    }
    message += " for the following reason: unknown reason";
    if (name.size() >= kLongPath) {
        message += "\nOne possible cause of file IO error is too long path. Please try shortening "
                   "directory structure and/or top design unit name.";
    }
    throw Qsim::OpenException("QSim", __FILE__, "", __LINE__, message.c_str());
}

} // namespace

void DrawingFile::create(const std::string& name)
{
    const Lock lock(m_blockManager.getMutex());
    if (name != m_name) {
        remove();
    }
    m_name = name;
    m_stream.close();
    const auto mode = m_created ? DescriptorStreamBuffer::Mode::Recreate
                                : DescriptorStreamBuffer::Mode::CreateExclusive;
    if (!m_stream.open(name, mode)) {
        throwCannotCreate(name);
    }
    m_created = true;
}

void DrawingFile::remove()
{
    m_stream.close();
    if (!m_created) {
        return;
    }
    boost::system::error_code error;
    boost::filesystem::remove(m_name, error);
    m_created = false;
}

} // namespace Tracewell
