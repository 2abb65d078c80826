// SPDX-License-Identifier: BSD-3-Clause

#include "wave/EventWaveFile.h"

#include "files/PrivateDirectory.h"
#include "input/FileKind.h"
#include "text/Failure.h"
#include "wave/DamageText.h"
#include "wave/TreeValues.h"

#include "QsimException.h"
#include "WdbCommonReader.h"
#include "WdbEventBlock.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <optional>
#include <set>
#include <string_view>

namespace tracewell {

namespace {

using Tracewell::WdbDamage;
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
        throw Failure(fmt::format("{}: {} Try `tracewell verify` on it.", path(), e.getMessage()));
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
    const long long latestTime = database().getLatestTime();
    m_end = RecordingEnd(findWholeness(*m_fileManager, m_database->getEventDatabaseHeader()), reach,
                         latestTime);
}

const Tracewell::WdbDamageLog& EventWaveFile::damageLog()
{
    database();
    return m_fileManager->getDamageLog();
}

void EventWaveFile::checkBuckets(const std::vector<long long>& addresses)
{
    if (damage({}).empty()) {
        return;
    }
    const auto division = static_cast<long long>(
        std::max(1ull, database().getEventDatabaseHeader().m_bucketDivision));
    std::set<long long> seen;
    for (const long long address : addresses) {
        if (address >= 0 && seen.insert(address / division).second) {
            endAt(findBucketEnd(address));
        }
    }
}

/// One event of a time is not all of that time, so what is whole ends before the last one in front
/// of the damage.
long long EventWaveFile::findBucketEnd(long long address)
{
    const Tracewell::WdbDamageLog& log = damageLog();
    const unsigned long long before = log.getCount();
    Tracewell::WdbEventBlock block(database().getEventDatabaseHeader().m_maxEventBlockSize, 0);
    long long last = 0;
    for (const auto& blocks : database().getEventBlockDatabaseIterator({address})) {
        for (; log.getCount() == before && !blocks->isEof(); ++*blocks) {
            blocks->getEventBlock(block);
            if (log.getCount() == before && !block.isEmpty()) {
                auto event = block.getIterator();
                event.setIndex(block.size() - 1);
                last = std::max(last, (*event).getTime());
            }
        }
    }
    return log.getCount() == before ? std::numeric_limits<long long>::max() : last - 1;
}

std::vector<WdbDamage> EventWaveFile::damage(const std::vector<WdbDamage>& more) const
{
    std::vector<WdbDamage> places;
    const auto add = [&](const std::vector<WdbDamage>& found) {
        for (const WdbDamage& place : found) {
            const auto isSame = [&](const WdbDamage& known) {
                return known.m_kind == place.m_kind && known.m_offset == place.m_offset;
            };
            if (std::none_of(places.begin(), places.end(), isSame)) {
                places.push_back(place);
            }
        }
    };
    add(dynamic_cast<const Tracewell::WdbCommonReader&>(*m_reader).getDamageLog().getPlaces());
    if (m_fileManager) {
        add(m_fileManager->getDamageLog().getPlaces());
    }
    add(more);
    return places;
}

std::optional<std::string> EventWaveFile::damageText(const std::vector<WdbDamage>& more) const
{
    const std::vector<WdbDamage> places = damage(more);
    if (places.empty()) {
        return std::nullopt;
    }
    return describeDamage(places, m_database->getEventDatabaseHeader().m_bucketDivision, timeText(),
                          m_end.damageEnd());
}

std::vector<std::string> EventWaveFile::shortfalls() const
{
    if (const std::optional<std::string> text = damageText()) {
        return {*text};
    }
    return m_end.shortfalls(timeText());
}

std::vector<std::string> EventWaveFile::notices() const
{
    return damage({}).empty() ? m_end.notices(timeText()) : std::vector<std::string>();
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
        throw Failure(fmt::format("{}: this is {}; `tracewell {}` is for event databases; "
                                  "`tracewell values` shows this one",
                                  path, describe(findFileKind(path)), command));
    }
    return EventWaveFile(path, reach);
}

} // namespace tracewell
