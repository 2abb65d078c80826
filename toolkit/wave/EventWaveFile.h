// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "wave/RecordingEnd.h"
#include "wave/WaveFile.h"

#include "WdbDamageLog.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbIEventReader.h"

#include <memory>
#include <optional>
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
    /// \throws Failure or Qsim::OpenException
    explicit EventWaveFile(const std::string& path, Reach reach = Reach::Whole);
    ~EventWaveFile() override;

    long long latestTime() const override { return m_end.latestTime(); }
    std::vector<std::string> shortfalls() const override;
    std::vector<std::string> notices() const override;
    std::string unclosedText() const override { return m_end.unclosedText(); }
    std::unique_ptr<SignalValues> values(std::vector<Signal> signals) override;

    /// What comes behind it is to be left out: for every user of the reader and the database. Below
    /// 0 when that is everything. Damage brings it down.
    long long end() const { return m_end.get(); }
    /// Whether anything comes behind it.
    bool isCut() const { return m_end.isCut(); }
    /// After the reader has read the buckets of these addresses: looks how far they are whole, if
    /// anything was damaged.
    void checkBuckets(const std::vector<long long>& addresses);
    /// The damage that whoever used the database found leaves nothing whole behind `end`.
    void endAt(long long end) { m_end.endAt(end); }
    /// Of what database() and storage() read.
    const Tracewell::WdbDamageLog& damageLog();
    /// The line on what was met that could not be read, with the places that somebody found who
    /// reads the file by himself; none without any.
    std::optional<std::string> damageText(const std::vector<Tracewell::WdbDamage>& more = {}) const;
    Tracewell::WdbIEventReader& reader() { return *m_reader; }
    /// The event database behind the reader's answers, opened a second time: for its raw blocks.
    Tracewell::WdbIEventBlockDatabase& database();
    /// The blocks that database() lies in.
    Tracewell::WdbIBlockManager& storage();

private:
    void openReader();
    void readNames();
    void findEnd(Reach reach);
    long long findBucketEnd(long long address);
    std::vector<Tracewell::WdbDamage> damage(const std::vector<Tracewell::WdbDamage>& more) const;

    std::unique_ptr<Tracewell::WdbIEventReader> m_reader;
    /// Before the database, which must go first.
    std::unique_ptr<Tracewell::WdbFileManager> m_fileManager;
    std::unique_ptr<Tracewell::WdbIEventBlockDatabase> m_database;
    RecordingEnd m_end;
};

/// The recording for a command that only event databases serve.
/// \throws Failure that says so for another kind of recording.
EventWaveFile openEventWaveFile(const std::string& path, const std::string& command, Reach reach);

} // namespace tracewell
