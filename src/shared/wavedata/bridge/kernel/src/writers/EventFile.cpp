// SPDX-License-Identifier: BSD-3-Clause

#include "EventFile.h"

#include "FatalError.h"
#include "OutputFileNames.h"
#include "SnapshotSections.h"

namespace Tracewell {

namespace {

constexpr int kStringMapTypeId = 101;

} // namespace

void EventFile::setName(const std::string& name)
{
    m_name = name.empty() ? ZSIM::OutputFileNames::getWdbFileName() : name;
}

void EventFile::requireStorage() const
{
    if (isBroken()) {
        throw Qsim::OpenException(
            "QSim", __FILE__, "", __LINE__,
            "The simulation database file could be created, but not written.");
    }
}

void EventFile::create(const std::string& snapshot, bool hasMark)
{
    m_manager.create(m_name);
    // Before anything can be read, so that no file is without what tells how much of it is whole.
    m_mark = WdbWholeMark();
    if (hasMark) {
        m_mark.create(m_manager);
    }
    embedSnapshot(m_manager, snapshot);
}

void EventFile::createTexts()
{
    auto texts = std::make_unique<WdbStringMapDatabase>(m_manager);
    texts->initialize(
        WdbStringMapDatabase::createStringMapSection(kStringMapTypeId, m_manager, true), true);
    m_texts = std::move(texts);
}

void EventFile::markWholeBefore(long long latest)
{
    if (latest > 0) {
        m_mark.set(m_manager, latest - 1);
    }
}

void EventFile::close(bool wasOpen)
{
    if (wasOpen && !isBroken()) {
        m_mark.set(m_manager, WdbWholeMark::kClosed);
    }
    m_manager.close();
    if (wasOpen && isBroken()) {
        tellFailureHandler("Tracing to " + m_name +
                           " has stopped. The file is not closed; it holds what had reached it.");
    }
}

} // namespace Tracewell
