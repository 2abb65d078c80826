#pragma once

#include "wave/WaveFile.h"
#include "wave/Wholeness.h"

#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace Tracewell {
class WdbFileManager;
}

namespace tracewell {

/// A recording in an event database.
class EventWaveFile : public WaveFile
{
public:
    /// \throws CommandError or Qsim::OpenException
    explicit EventWaveFile(const std::string& path, Reach reach = Reach::Whole);
    ~EventWaveFile() override;

    long long latestTime() const override
    {
        // A run may have come further than its last event.
        return std::max(std::min(std::max(m_latestTime, m_wholeness.upTo), m_end), 0LL);
    }
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    /// What comes behind it is to be left out: for every user of the reader and the database. Below
    /// 0 when that is everything.
    long long end() const { return m_end; }
    Tracewell::WdbIEventReader& reader() { return *m_reader; }
    /// The event database behind the reader's answers, opened a second time: for its raw blocks.
    Tracewell::WdbIEventBlockDatabase& database();
    /// What database() lies in.
    Tracewell::WdbIBlockManager& storage();

private:
    void openReader();
    void readNames();
    void findEnd(Reach reach);
    std::string endText() const;

    std::unique_ptr<Tracewell::WdbIEventReader> m_reader;
    /// Before the database, which must go first.
    std::unique_ptr<Tracewell::WdbFileManager> m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
    Wholeness m_wholeness;
    /// Of what can be read.
    long long m_latestTime = 0;
    long long m_end = 0;
};

/// The recording for a command that only event databases serve.
/// \throws CommandError that says so for another kind of recording.
EventWaveFile openEventWaveFile(const std::string& path, const std::string& command, Reach reach);

} // namespace tracewell
