// SPDX-License-Identifier: BSD-3-Clause

#include "changes/EventChanges.h"

#include <algorithm>
#include <set>

namespace tracewell {

namespace {

/// An address of each bucket that a range touches.
void addBuckets(std::set<long long>& addresses, long long start, long long size, long long division)
{
    for (long long bucket = start / division; bucket * division < start + size; ++bucket) {
        addresses.insert(bucket * division);
    }
}

} // namespace

EventChanges::EventChanges(const std::string& path, Reach reach)
    : ReplayedChanges(path), m_reach(reach), m_file(path, reach), m_texts(path)
{
    m_file.requireNames();
    start(m_texts);
}

void EventChanges::choose(const std::vector<std::uint32_t>& objects)
{
    const Tracewell::WdbIEventBlockDatabase& database = m_file.database();
    const auto division =
        static_cast<long long>(std::max(1ull, database.getEventDatabaseHeader().m_bucketDivision));
    std::set<long long> addresses;
    for (const std::uint32_t object : objects) {
        addBuckets(addresses, layout().addressOf(object),
                   DataLayout::sizeOf(declarations().objects[object]), division);
        addBuckets(addresses, layout().overrideOf(object), sizeof(TextReference), division);
    }
    m_events.emplace(m_file.database(), std::vector<long long>(addresses.begin(), addresses.end()),
                     m_file.damageLog(), path());
    m_event = m_events->next();
}

bool EventChanges::findNext(long long& time)
{
    if (!m_events) {
        m_events.emplace(m_file.database(), std::nullopt, m_file.damageLog(), path());
        m_event = m_events->next();
    }
    m_file.endAt(m_events->end());
    if (m_event == nullptr || m_event->getTime() > m_file.end()) {
        return false;
    }
    time = m_event->getTime();
    return true;
}

/// What only damaged texts tell, nothing tells: there the run ends.
bool EventChanges::advance()
{
    const bool isChanged = ReplayedChanges::advance();
    for (const std::uint32_t object : changed()) {
        if (!values().isTextThere(object) && !m_texts.damage().empty()) {
            m_file.endAt(time() - 1);
            dropChanges();
            return false;
        }
    }
    return isChanged;
}

std::vector<std::string> EventChanges::shortfalls() const
{
    if (const std::optional<std::string> text = m_file.damageText(m_texts.damage())) {
        return {*text};
    }
    std::vector<std::string> lines = m_file.shortfalls();
    const std::vector<std::string> texts = ReplayedChanges::shortfalls();
    if (m_reach == Reach::Whole) {
        lines.insert(lines.end(), texts.begin(), texts.end());
    }
    return lines;
}

std::vector<std::string> EventChanges::notices() const
{
    if (m_file.damageText(m_texts.damage())) {
        return {};
    }
    std::vector<std::string> lines = m_file.notices();
    const std::vector<std::string> texts = ReplayedChanges::shortfalls();
    if (m_reach == Reach::Beyond) {
        lines.insert(lines.end(), texts.begin(), texts.end());
    }
    return lines;
}

void EventChanges::applyNext()
{
    const long long time = m_event->getTime();
    do {
        values().apply(m_event->getStartAddress(), m_event->getValue(), m_event->getValuelength());
        m_event = m_events->next();
    } while (m_event != nullptr && m_event->getTime() == time);
}

} // namespace tracewell
