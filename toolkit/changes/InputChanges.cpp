// SPDX-License-Identifier: BSD-3-Clause

#include "changes/InputChanges.h"

#include <cstring>

namespace tracewell {

InputChanges::InputChanges(const std::string& path, InputRun::Reading reading)
    : ReplayedChanges(path),
      m_texts([this](const MemoryTexts::Visit& visit) { forEachTextInUse(visit); }),
      m_writer(*this), m_run(std::make_unique<InputRun>(path, m_writer, makeEventSink(m_writer),
                                                        reading, [](double) {}))
{
    start(m_texts);
}

// What comes first is time 0, stated or not; later, the run has come to a time and played nothing
// of it.
bool InputChanges::findNext(long long& time)
{
    time = m_run->values().time();
    return !m_hasEnded;
}

void InputChanges::applyNext()
{
    m_writer.makeCurrent();
    const long long time = m_run->values().time();
    while (!m_hasEnded && m_run->values().time() == time) {
        const InputRun::Step step = m_run->step();
        if (step == InputRun::Step::NeedsFinerTimes) {
            throw FinerTimesNeeded{path(), m_run->findFractionDigits()};
        }
        m_hasEnded = step == InputRun::Step::Ended;
    }
}

/// Of strings, and of values that only a text can tell.
void InputChanges::forEachTextInUse(const MemoryTexts::Visit& visit) const
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
