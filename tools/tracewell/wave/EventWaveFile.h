#pragma once

#include "wave/WaveFile.h"

#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"

#include <memory>
#include <string>

namespace Tracewell {
class WdbFileManager;
}

namespace tracewell {

/// A recording in an event database.
class EventWaveFile : public WaveFile
{
public:
    /// \throws CommandError or Qsim::OpenException
    explicit EventWaveFile(const std::string& path);
    ~EventWaveFile() override;

    long long latestTime() const override { return m_reader->getLatestTime(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    Tracewell::WdbIEventReader& reader() { return *m_reader; }
    /// The event database behind the reader's answers, opened a second time: for its raw blocks.
    Tracewell::WdbIEventBlockDatabase& database();
    /// What database() lies in.
    Tracewell::WdbIBlockManager& storage();

private:
    void openReader();
    void readNames();

    std::unique_ptr<Tracewell::WdbIEventReader> m_reader;
    /// Before the database, which must go first.
    std::unique_ptr<Tracewell::WdbFileManager> m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
};

/// The recording for a command that only event databases serve.
/// \throws CommandError that says so for another kind of recording.
EventWaveFile openEventWaveFile(const std::string& path, const std::string& command);

} // namespace tracewell
