// SPDX-License-Identifier: BSD-3-Clause

#include "wave/ColumnValues.h"

#include "wave/ColumnCursor.h"
#include "wave/ColumnWaveFile.h"

#include <algorithm>
#include <limits>

namespace tracewell {

namespace {

constexpr long long kLastTime = std::numeric_limits<long long>::max();

bool reachesOutside(const Tracewell::WdbColumnField& field, const Signal& signal)
{
    return field.address < signal.address ||
           field.address + static_cast<long long>(field.size) > signal.address + signal.size;
}

} // namespace

ColumnValues::ColumnValues(ColumnWaveFile& file, std::vector<Signal> chosen)
    : SignalValues(std::move(chosen)), m_file(file)
{
    for (const Signal& signal : signals()) {
        Fields fields;
        fields.plain = file.reader().findFields(signal.address, signal.size);
        if (signal.overrideAddress >= 0 && !signal.valueKind->isRaw()) {
            fields.override =
                file.reader().findFields(signal.overrideAddress, sizeof(TextReference));
        }
        fields.areShared =
            std::any_of(fields.plain.begin(), fields.plain.end(), [&](unsigned int field) {
                return reachesOutside(file.reader().getField(field), signal);
            });
        m_fields.push_back(std::move(fields));
    }
}

std::unique_ptr<SignalCursor> ColumnValues::wholeCursor(std::size_t signal,
                                                        const TimeWindow& window) const
{
    TimeWindow shown = window;
    shown.from = std::min(shown.from, m_file.end());
    shown.to = std::min(shown.to, m_file.end());
    return std::make_unique<ColumnCursor>(m_file, signals()[signal], m_fields[signal].plain,
                                          m_fields[signal].override, shown);
}

std::optional<long long> ColumnValues::nextWholeChange(std::size_t signal, long long time) const
{
    const Fields& fields = m_fields[signal];
    if (fields.areShared) {
        const auto cursor = wholeCursor(signal, {time, kLastTime, 0});
        while (cursor->next()) {
            if (cursor->time() > time) {
                return cursor->time();
            }
        }
        return std::nullopt;
    }
    std::optional<long long> nearest;
    for (const auto* const some : {&fields.plain, &fields.override}) {
        for (const unsigned int field : *some) {
            long long found = 0;
            if (m_file.reader().getNextChange(field, time, found) &&
                (!nearest || found < *nearest)) {
                nearest = found;
            }
        }
    }
    return nearest && *nearest <= m_file.end() ? nearest : std::nullopt;
}

std::optional<long long> ColumnValues::previousWholeChange(std::size_t signal, long long time) const
{
    std::optional<long long> found = lastChangeBefore(signal, time);
    // What is whole may end before the time; damage that was met on the way brings that end down.
    while (m_file.end() < time - 1) {
        time = m_file.end() + 1;
        found = lastChangeBefore(signal, time);
    }
    return found;
}

std::optional<long long> ColumnValues::lastChangeBefore(std::size_t signal, long long time) const
{
    const Fields& fields = m_fields[signal];
    std::optional<long long> nearest;
    if (fields.areShared) {
        const auto cursor = wholeCursor(signal, {0, time - 1, 0});
        while (cursor->next()) {
            nearest = cursor->time();
        }
        return nearest;
    }
    for (const auto* const some : {&fields.plain, &fields.override}) {
        for (const unsigned int field : *some) {
            long long found = 0;
            if (m_file.reader().getPreviousChange(field, time, found) &&
                (!nearest || found > *nearest)) {
                nearest = found;
            }
        }
    }
    return nearest;
}

bool ColumnValues::visitPlain(std::size_t signal, long long from, long long to,
                              const VisitPlain& visit) const
{
    const Fields& fields = m_fields[signal];
    const Signal& asked = signals()[signal];
    if (fields.plain.size() != 1 || fields.areShared || asked.sharesBytes() ||
        asked.valueKind->fires() || asked.valueKind->isText() ||
        m_file.reader().getField(fields.plain[0]).size != asked.size) {
        return false;
    }
    from = std::min(from, m_file.end());
    to = std::min(to, m_file.end());
    for (const unsigned int field : fields.override) {
        if (m_file.reader().getHistory(field, from, to, 0)->next()) {
            return false;
        }
    }
    const auto history = m_file.reader().getHistory(fields.plain[0], from, to, 0);
    while (history->next() && history->getTime() <= m_file.end() &&
           visit(history->getTime(), history->getValue())) {
    }
    return true;
}

std::string ColumnValues::lookUp(long long id) const
{
    return m_file.text(id);
}

} // namespace tracewell
