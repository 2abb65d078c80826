// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "PlainVcd.h"
#include "testing/CommandLine.h"
#include "testing/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

/// Runs import and export in this process, on files in a directory of the test's own.
class ImportExport : public ::testing::Test
{
protected:
    using Result = Tracewell::CommandResult;

    std::string path(const std::string& name) const { return m_directory.path(name); }

    void write(const std::string& name, const std::string& text) const
    {
        Tracewell::writeFile(path(name), text);
    }

    std::string read(const std::string& name) const { return Tracewell::readFile(path(name)); }

    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static Result run(const std::vector<std::string>& arguments)
    {
        return Tracewell::runCommand(arguments);
    }

    Result import(const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> arguments = {"import", path("in.vcd"), path("out.wdb")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }

    /// Imports in.vcd, exports it again and compares.
    void expectRoundTrip(const std::vector<std::string>& options = {}) const
    {
        const Result imported = import(options);
        ASSERT_EQ(imported.code, 0) << imported.error;
        EXPECT_EQ(imported.error, "");
        const Result exported = run({"export", path("out.wdb"), path("out.vcd")});
        ASSERT_EQ(exported.code, 0) << exported.error;
        EXPECT_EQ(exported.error, "");
        const PlainVcd in = readPlainVcd(path("in.vcd"));
        EXPECT_EQ(differenceOf(in, readPlainVcd(path("out.vcd"))), "");
        EXPECT_EQ(files(), (std::vector<std::string>{"in.vcd", "out.vcd", "out.wdb"}));
    }

    /// Imports, and answers the exported value changes.
    std::string exportedChanges(const std::string& vcd) const
    {
        write("in.vcd", vcd);
        const Result imported = import();
        EXPECT_EQ(imported.code, 0) << imported.error;
        EXPECT_EQ(run({"export", path("out.wdb"), path("out.vcd")}).code, 0);
        const std::string text = read("out.vcd");
        const std::string last = "$enddefinitions $end\n";
        return text.substr(text.find(last) + last.size());
    }

private:
    Tracewell::TestDirectory m_directory;
};
