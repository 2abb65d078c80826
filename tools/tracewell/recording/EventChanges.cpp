#include "recording/EventChanges.h"

#include "CommandError.h"

namespace tracewell {

EventChanges::EventChanges(const std::string& path)
    : ReplayedChanges(path), m_file(path), m_texts(path), m_events(m_file.database(), path)
{
    m_file.requireNames();
    start(m_texts);
    m_event = m_events.next();
}

bool EventChanges::step(long long& time)
{
    if (m_event == nullptr) {
        return false;
    }
    time = m_event->getTime();
    do {
        values().apply(m_event->getStartAddress(), m_event->getValue(), m_event->getValuelength());
        m_event = m_events.next();
    } while (m_event != nullptr && m_event->getTime() == time);
    return true;
}

} // namespace tracewell
