#include "recording/ReplayedChanges.h"

#include "CommandError.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

void ReplayedChanges::start(TextSource& texts)
{
    if (layout().totalSize() > kLargestMemory) {
        throw CommandError(
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
        m_isSelected.assign(declarations().objects.size(), 0);
        for (const std::uint32_t object : *selection.objects) {
            m_isSelected[object] = 1;
        }
    }
}

bool ReplayedChanges::next()
{
    while (step(m_time)) {
        if (m_time < 0) {
            throw CommandError(fmt::format(
                "{}: an event at {}; a VCD has no times below 0; `tracewell events` shows it",
                m_path, m_time));
        }
        if (m_from && m_time < *m_from) {
            m_values->forgetFirings();
            continue;
        }
        m_from.reset();
        if (take()) {
            return true;
        }
    }
    // All that there is holds by then.
    if (m_from) {
        m_time = *m_from;
        m_from.reset();
        return take();
    }
    m_changed.clear();
    return false;
}

bool ReplayedChanges::take()
{
    m_values->takeChanges(m_changed);
    if (!m_isSelected.empty()) {
        m_changed.erase(
            std::remove_if(m_changed.begin(), m_changed.end(),
                           [&](std::uint32_t object) { return m_isSelected[object] == 0; }),
            m_changed.end());
    }
    return !m_changed.empty();
}

unsigned long long ReplayedChanges::firings(std::uint32_t object) const
{
    return declarations().objects[object].objectClass == ObjectClass::Event
               ? m_values->firings(object)
               : 1;
}

double ReplayedChanges::progress() const
{
    return static_cast<double>(std::max(m_time, 0LL)) /
           static_cast<double>(std::max(latestTime(), 1LL));
}

std::string ReplayedChanges::warning() const
{
    return m_values->missingTexts() == 0
               ? std::string()
               : fmt::format("{}: the texts of {} values never reached the file; what stands for "
                             "them was taken",
                             m_path, m_values->missingTexts());
}

} // namespace tracewell
