// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DataBase.h"
#include "OutputFileNames.h"

#include "testing/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace Tracewell {

inline Value valueOf(ValueType kind, unsigned long long bits)
{
    Value value;
    value.setBits(kind, bits);
    return value;
}

/// A place for one database file and its debug data.
class DataBaseFixture : public ::testing::Test
{
protected:
    static constexpr const char* kDesign = "design";
    static constexpr const char* kDebugData = "names";

    DataBaseFixture()
    {
        ZSIM::OutputFileNames::setZSimDirLocation(m_directory.path("").c_str());
        const std::string debugFile = ZSIM::OutputFileNames::getDbgPathName(
            ZSIM::OutputFileNames::getSnapshotName(std::string(kDesign)));
        std::filesystem::create_directories(std::filesystem::path(debugFile).parent_path());
        writeFile(debugFile, kDebugData);
    }

    std::string fileName() const { return m_directory.path("run.wdb"); }
    std::unique_ptr<DataBase> open(DataBaseMode mode, const DataBaseLimits& limits = {}) const
    {
        return std::make_unique<DataBase>(mode, nullptr, kDesign, fileName(), 0, 0, limits);
    }

    const TestDirectory m_directory;
};

} // namespace Tracewell
