#include "wave/EventWaveFile.h"

#include "CommandError.h"
#include "files/PrivateDirectory.h"
#include "wave/FileKind.h"
#include "wave/TreeValues.h"

#include "QsimException.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <string_view>

namespace tracewell {

namespace {

using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbEventReaderFactory;
using Tracewell::WdbFileManager;
using Tracewell::WdbIEventBlockDatabase;

} // namespace

EventWaveFile::EventWaveFile(const std::string& path, Reach reach) : WaveFile(path)
{
    openReader();
    readNames();
    findEnd(reach);
}

EventWaveFile::~EventWaveFile() = default;

std::unique_ptr<SignalValues> EventWaveFile::values(std::vector<Signal> signals)
{
    return std::make_unique<TreeValues>(*this, std::move(signals));
}

void EventWaveFile::openReader()
{
    // The reader keeps its drawing file open, so the directory can go at once: nothing is left
    // behind however this process ends.
    const PrivateDirectory directory;
    m_reader.reset(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    try {
        m_reader->createReader("", path(), 0, directory.path());
    } catch (const Qsim::OpenException& e) {
        throw CommandError(
            fmt::format("{}: {} Try `tracewell verify` on it.", path(), e.getMessage()));
    }
}

WdbIEventBlockDatabase& EventWaveFile::database()
{
    if (!m_database) {
        m_fileManager = std::make_unique<WdbFileManager>();
        m_fileManager->open(path());
        const int type = WdbIEventBlockDatabase::getEventDatabaseTypeId(*m_fileManager);
        m_database.reset(WdbEventBlockDatabaseFactory::getInstance().create(type, *m_fileManager));
        m_database->initialize(WdbIEventBlockDatabase::getEventSection(*m_fileManager), false);
    }
    return *m_database;
}

Tracewell::WdbIBlockManager& EventWaveFile::storage()
{
    database();
    return m_fileManager->getFileBlockManager();
}

void EventWaveFile::findEnd(Reach reach)
{
    m_latestTime = database().getLatestTime();
    m_wholeness = findWholeness(*m_fileManager, m_database->getEventDatabaseHeader());
    m_end = m_wholeness.isClosed || reach == Reach::Beyond ? std::numeric_limits<long long>::max()
                                                           : m_wholeness.upTo;
}

std::vector<std::string> EventWaveFile::shortfalls() const
{
    if (m_latestTime <= m_end) {
        return {};
    }
    return {
        endText() +
        (m_end < 0 ? ", so all of it was left out" : ", and what lies behind that was left out") +
        "; --beyond shows it, with values that may be in part"};
}

std::vector<std::string> EventWaveFile::notices() const
{
    if (m_wholeness.isClosed || m_latestTime > m_end) {
        return {};
    }
    return {endText() + (m_latestTime > m_wholeness.upTo
                             ? ", and values behind that may be in part"
                             : ", and nothing that could be read lies behind that")};
}

std::string EventWaveFile::endText() const
{
    const std::string upTo =
        m_wholeness.upTo < 0
            ? "not known to be whole up to any time"
            : fmt::format("whole up to time {}", timeText().format(m_wholeness.upTo));
    return "its writer never closed it; it is " + upTo;
}

void EventWaveFile::readNames()
{
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> data(m_reader->getDbg(&size), &std::free);
    read(data && size > 0 ? std::string_view(data.get(), static_cast<std::size_t>(size))
                          : std::string_view());
}

EventWaveFile openEventWaveFile(const std::string& path, const std::string& command, Reach reach)
{
    if (findFileKind(path) != FileKind::Events) {
        throw CommandError(fmt::format("{}: this is a transition database; `tracewell {}` is for "
                                       "event databases; `tracewell values` shows this one",
                                       path, command));
    }
    return EventWaveFile(path, reach);
}

} // namespace tracewell
