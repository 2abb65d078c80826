// SPDX-License-Identifier: BSD-3-Clause

#include "SnapshotSections.h"

#include "OutputFileNames.h"
#include "WdbFileManager.h"

#include <boost/filesystem/operations.hpp>

namespace Tracewell {

namespace {

constexpr unsigned int kSectionVersion = 1;

void embedIfPresent(WdbFileManager& file, const char* sectionId, const std::string& path)
{
    boost::system::error_code error;
    if (boost::filesystem::is_regular_file(path, error)) {
        file.embedFileInNewSection(sectionId, kSectionVersion, path);
    }
}

} // namespace

void embedSnapshot(WdbFileManager& file, const std::string& snapshot)
{
    using ZSIM::OutputFileNames;
    const std::string name = OutputFileNames::getSnapshotName(snapshot);
    embedIfPresent(file, "Zelnix DBG", OutputFileNames::getDbgPathName(name));
    embedIfPresent(file, "Zelnix RTTI", OutputFileNames::getRTTIPathName(name));
}

} // namespace Tracewell
