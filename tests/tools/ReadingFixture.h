// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/CommandLine.h"
#include "testing/EventTestData.h"

#include "names/DataLayout.h"
#include "names/Declarations.h"

#include "WdbStringMapDatabase.h"

#include <map>

/// Makes a wave database with the library's own databases, value by value.
class RecordingBuilder
{
public:
    /// `declarations` is the declarations section of a VCD; empty for a recording without names.
    RecordingBuilder(const std::string& path, const std::string& declarations,
                     unsigned int division = 2048);
    ~RecordingBuilder() { close(); }

    /// Letters of a scalar or vector, leftmost first.
    void letters(long long time, const std::string& name, const std::string& letters);
    void real(long long time, const std::string& name, double value);
    void text(long long time, const std::string& name, const std::string& text);
    void fire(long long time, const std::string& name);
    /// A text beside the plain value; kind 0 takes it away.
    void override(long long time, const std::string& name, char kind, const std::string& text);
    void bytes(long long time, long long address, const std::string& bytes);

    /// Everything so far is in the file, and nothing says that the writer came to its end.
    void flush();
    void close();

private:
    tracewell::TextReference store(char kind, const std::string& text);

    Tracewell::WdbFileManager m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
    std::unique_ptr<Tracewell::WdbStringMapDatabase> m_strings;
    tracewell::Declarations m_declarations;
    std::unique_ptr<tracewell::DataLayout> m_layout;
    std::map<std::string, std::size_t> m_objects;
    std::map<std::size_t, unsigned char> m_firings;
};

/// A directory of the test's own, and the reading commands in this process.
class Reading : public ::testing::Test
{
protected:
    using Result = Tracewell::CommandResult;

    std::string path(const std::string& name = "run.wdb") const { return m_directory.path(name); }
    void write(const std::string& name, const std::string& bytes) const
    {
        Tracewell::writeFile(path(name), bytes);
    }
    std::string read(const std::string& name = "run.wdb") const
    {
        return Tracewell::readFile(path(name));
    }

    static Result run(const std::vector<std::string>& arguments)
    {
        return Tracewell::runCommand(arguments);
    }
    /// The output of a command on run.wdb that must succeed.
    std::string output(const std::string& command, std::vector<std::string> arguments = {}) const;

private:
    Tracewell::TestDirectory m_directory;
};

/// A clock, a bus, a real, a text, an event, an alias, a namesake and a variable without a value.
extern const char* const kSmallDesign;
