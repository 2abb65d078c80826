#pragma once

#include "PlainVcd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

/// Runs import and export in this process, on files in a directory of the test's own.
class ImportExport : public ::testing::Test
{
protected:
    struct Result
    {
        int code = 0;
        /// What a person would see on the standard error stream.
        std::string error;
    };

    ImportExport()
    {
        std::string pattern = ::testing::TempDir() + "import_export_XXXXXX";
        m_directory = ::mkdtemp(pattern.data());
    }
    ~ImportExport() override { std::filesystem::remove_all(m_directory); }

    std::string path(const std::string& name) const { return m_directory + "/" + name; }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    std::string read(const std::string& name) const
    {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    /// What main does, but for printing the error.
    static Result runAlone(std::vector<std::string> arguments);

    static Result run(const std::vector<std::string>& arguments)
    {
        ::testing::internal::CaptureStderr();
        Result result = runAlone(arguments);
        result.error += ::testing::internal::GetCapturedStderr();
        return result;
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
    std::string m_directory;
};
