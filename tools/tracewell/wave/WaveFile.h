#pragma once

#include "wave/SignalNames.h"

#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"

#include <memory>
#include <string>

namespace Tracewell {
class WdbFileManager;
}

namespace tracewell {

/// A wave database opened for reading, with the names of what it recorded. One thread.
class WaveFile : public SignalNames
{
public:
    /// \throws CommandError or Qsim::OpenException
    explicit WaveFile(const std::string& path);
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;
    ~WaveFile();

    Tracewell::WdbIEventReader& reader() { return *m_reader; }
    /// The event database behind the reader's answers, opened a second time: for its raw blocks.
    Tracewell::WdbIEventBlockDatabase& database();

    long long latestTime() const { return m_reader->getLatestTime(); }

private:
    void openReader();
    void readNames();

    std::unique_ptr<Tracewell::WdbIEventReader> m_reader;
    /// Before the database, which must go first.
    std::unique_ptr<Tracewell::WdbFileManager> m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
};

} // namespace tracewell
