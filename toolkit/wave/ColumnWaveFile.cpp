// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ColumnWaveFile.h"

#include "formats/wdb/NameSection.h"
#include "text/Counted.h"
#include "text/Failure.h"
#include "wave/ColumnValues.h"
#include "wave/DamageText.h"

#include "QsimException.h"
#include "WdbFileManager.h"
#include "WdbStringMapDatabase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace tracewell {

ColumnWaveFile::ColumnWaveFile(const std::string& path, Reach reach) : WaveFile(path)
{
    try {
        m_reader.open(path);
    } catch (const Qsim::OpenException& e) {
        throw Failure(fmt::format("{}: {} Try `tracewell verify` on it.", path, e.getMessage()));
    }
    Wholeness wholeness;
    wholeness.isClosed = m_reader.isClosed();
    wholeness.hasEvents = wholeness.isClosed || m_reader.getChangeCount() > 0;
    wholeness.upTo = wholeness.isClosed ? m_reader.getLatestTime() : m_reader.getWholeTime();
    m_end = RecordingEnd(wholeness, reach, m_reader.getLastChangeTime());

    Tracewell::WdbFileManager& file = m_reader.getFileManager();
    try {
        const long long section = Tracewell::WdbStringMapDatabase::getStringMapSection(file);
        m_texts = std::make_unique<Tracewell::WdbStringMapDatabase>(file);
        m_texts->initialize(section, false);
    } catch (const Qsim::OpenException&) {
        m_texts.reset();
    }
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> names(
        file.getSectionData(kNameSection, kNameSectionVersion, &size), &std::free);
    read(names && size > 0 ? std::string_view(names.get(), static_cast<std::size_t>(size))
                           : std::string_view());
}

ColumnWaveFile::~ColumnWaveFile() = default;

std::unique_ptr<SignalValues> ColumnWaveFile::values(std::vector<Signal> signals)
{
    return std::make_unique<ColumnValues>(*this, std::move(signals));
}

RecordingEnd& ColumnWaveFile::presentEnd() const
{
    const Tracewell::WdbDamageLog& log = m_reader.getFileManager().getDamageLog();
    if (const unsigned long long count = log.getCount(); count != m_damagesSeen) {
        m_damagesSeen = count;
        for (const Tracewell::WdbDamage& place : log.getPlaces()) {
            if (place.m_kind == Tracewell::WdbDamage::ColumnSegment) {
                m_end.endAt(place.m_hasTime ? std::max(place.m_time, 0LL) - 1 : -1);
            }
        }
    }
    return m_end;
}

std::optional<std::string>
ColumnWaveFile::damageText(const std::vector<Tracewell::WdbDamage>& more) const
{
    std::vector<Tracewell::WdbDamage> places = m_reader.getFileManager().getDamageLog().getPlaces();
    places.insert(places.end(), more.begin(), more.end());
    if (places.empty()) {
        return std::nullopt;
    }
    return describeDamage(places, 0, timeText(), presentEnd().damageEnd());
}

std::vector<std::string> ColumnWaveFile::shortfalls() const
{
    if (const std::optional<std::string> text = damageText()) {
        return {*text};
    }
    std::vector<std::string> lines = m_end.shortfalls(timeText());
    if (!m_missingTexts.empty()) {
        lines.push_back(fmt::format("{} not in the file; tracewell verify tells more",
                                    counted(m_missingTexts.size(), "text is", "texts are")));
    }
    return lines;
}

std::vector<std::string> ColumnWaveFile::notices() const
{
    return damageText() ? std::vector<std::string>() : m_end.notices(timeText());
}

std::string ColumnWaveFile::text(long long id) const
{
    std::string text;
    const bool isThere = m_texts && id > 0 && id <= std::numeric_limits<unsigned int>::max() &&
                         m_texts->getString(static_cast<unsigned int>(id), text);
    if (!isThere) {
        m_missingTexts.insert(id);
    }
    return text;
}

} // namespace tracewell
