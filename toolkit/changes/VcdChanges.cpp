// SPDX-License-Identifier: BSD-3-Clause

#include "changes/VcdChanges.h"

#include <cstring>

namespace tracewell {

VcdChanges::VcdChanges(const std::string& path, VcdRun::Reading reading)
    : ReplayedChanges(path),
      m_texts([this](const MemoryTexts::Visit& visit) { forEachTextInUse(visit); }),
      m_writer(*this), m_run(std::make_unique<VcdRun>(path, m_writer, makeEventSink(m_writer),
                                                      reading, [](const VcdInput&) {}))
{
    start(m_texts);
}

// What comes first is time 0, stated or not; later, the run has come to a time and played nothing
// of it.
bool VcdChanges::findNext(long long& time)
{
    time = m_run->values().time();
    return !m_hasEnded;
}

void VcdChanges::applyNext()
{
    m_writer.makeCurrent();
    const long long time = m_run->values().time();
    while (!m_hasEnded && m_run->values().time() == time) {
        const VcdRun::Step step = m_run->step();
        if (step == VcdRun::Step::NeedsFinerTimes) {
            throw FinerTimesNeeded{path(), m_run->findFractionDigits()};
        }
        m_hasEnded = step == VcdRun::Step::Ended;
    }
}

/// Of strings, and of values that only a text can tell.
void VcdChanges::forEachTextInUse(const MemoryTexts::Visit& visit) const
{
    const std::vector<Object>& objects = declarations().objects;
    const auto visitAt = [&](long long address) {
        TextReference reference;
        std::memcpy(&reference, m_writer.memory() + address, sizeof reference);
        visit(reference);
    };
    for (std::size_t i = 0; i < objects.size(); ++i) {
        visitAt(layout().overrideOf(i));
        if (objects[i].kind->isText()) {
            visitAt(layout().addressOf(i));
        }
    }
}

} // namespace tracewell
