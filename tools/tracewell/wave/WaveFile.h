#pragma once

#include "names/DataLayout.h"
#include "names/Declarations.h"
#include "text/TimeText.h"

#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"

#include <memory>
#include <string>

namespace Tracewell {
class WdbFileManager;
}

namespace tracewell {

/// A wave database opened for reading, with the names of what it recorded. One thread.
class WaveFile
{
public:
    /// \throws CommandError or Qsim::OpenException
    explicit WaveFile(const std::string& path);
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;
    ~WaveFile();

    const std::string& path() const { return m_path; }
    Tracewell::WdbIEventReader& reader() { return *m_reader; }
    /// The event database behind the reader's answers, opened a second time: for its raw blocks.
    Tracewell::WdbIEventBlockDatabase& database();

    /// False when the recording has no name table in the form of a VCD's declarations: it comes
    /// from another program, and only addresses are known.
    bool hasNames() const { return m_layout != nullptr; }
    /// Why not.
    const std::string& whyNoNames() const { return m_whyNoNames; }
    /// Empty without names.
    const Declarations& declarations() const { return m_declarations; }
    /// Only with names.
    const DataLayout& layout() const { return *m_layout; }

    const TimeText& timeText() const { return m_timeText; }
    long long latestTime() const { return m_reader->getLatestTime(); }

private:
    void openReader();
    void readNames();

    std::string m_path;
    std::unique_ptr<Tracewell::WdbIEventReader> m_reader;
    /// Before the database, which must go first.
    std::unique_ptr<Tracewell::WdbFileManager> m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
    std::string m_whyNoNames;
    Declarations m_declarations;
    std::unique_ptr<DataLayout> m_layout;
    TimeText m_timeText;
};

} // namespace tracewell
