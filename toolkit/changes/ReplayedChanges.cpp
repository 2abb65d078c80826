// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ReplayedChanges.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

void ReplayedChanges::start(TextSource& texts)
{
    if (layout().totalSize() > kLargestMemory) {
        throw Failure(
            fmt::format("{}: its name table asks for {} MB of values; at most {} can be replayed; "
                        "`tracewell values` shows some",
                        m_path, layout().totalSize() >> 20, kLargestMemory >> 20));
    }
    m_values = std::make_unique<ValueReplay>(declarations(), layout(), texts);
}

void ReplayedChanges::select(const ChangeSelection& selection)
{
    if (selection.from > 0) {
        m_from = selection.from;
    }
    if (selection.objects) {
        m_values->select(*selection.objects);
        choose(*selection.objects);
    }
}

bool ReplayedChanges::peek(long long& time)
{
    if (m_from) {
        while (findNextChecked(time) && time < *m_from) {
            applyNext();
        }
        m_values->forgetFirings();
        m_time = *m_from;
        m_from.reset();
        m_isAtStart = true;
    }
    time = m_time;
    return m_isAtStart || findNextChecked(time);
}

bool ReplayedChanges::advance()
{
    long long time = 0;
    if (!peek(time)) {
        return false;
    }
    // At the start of a selection there need not be anything of that very time.
    long long next = time;
    const bool isThere = !m_isAtStart || (findNextChecked(next) && next == time);
    m_isAtStart = false;
    m_time = time;
    if (isThere) {
        applyNext();
    }
    m_values->takeChanges(m_changed);
    return !m_changed.empty();
}

bool ReplayedChanges::findNextChecked(long long& time)
{
    if (!findNext(time)) {
        return false;
    }
    if (time < 0) {
        throw Failure(
            fmt::format("{}: an event at {}; a VCD has no times below 0; `tracewell events` "
                        "shows it",
                        m_path, time));
    }
    return true;
}

unsigned long long ReplayedChanges::firings(std::uint32_t object) const
{
    return declarations().objects[object].kind->fires() ? m_values->firings(object) : 1;
}

double ReplayedChanges::progress() const
{
    return static_cast<double>(std::max(m_time, 0LL)) /
           static_cast<double>(std::max(latestTime(), 1LL));
}

std::vector<std::string> ReplayedChanges::shortfalls() const
{
    if (m_values->missingTexts() == 0) {
        return {};
    }
    return {fmt::format("{} never reached the file; what stands there was taken",
                        m_values->missingTexts() == 1
                            ? "the text of 1 value"
                            : fmt::format("the texts of {} values", m_values->missingTexts()))};
}

} // namespace tracewell
