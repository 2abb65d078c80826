// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "QsimException.h"
#include "WdbFileManager.h"
#include "WdbStringMapDatabase.h"
#include "WdbWholeMark.h"

#include <memory>
#include <string>

namespace Tracewell {

/// The file of a writer of events, but for its event database, which is the writer's own: the
/// sections of the snapshot, the texts, the mark, and what is said where storage breaks.
class EventFile
{
public:
    WdbFileManager& getManager() { return m_manager; }
    const std::string& getName() const { return m_name; }
    bool isBroken() const { return m_manager.getFileBlockManager().isBroken(); }

    /// Runs `create`, which makes the file of that name and what belongs in it. An empty name is
    /// "zsim.wdb".
    /// \throws Qsim::OpenException
    template <class Create> void open(const std::string& name, const Create& create)
    {
        setName(name);
        try {
            create();
        } catch (const Qsim::OpenException&) {
            // What was read back from a storage that broke is no damage of the file's.
            if (!m_manager.isOpen() || !isBroken()) {
                throw;
            }
        }
        requireStorage();
    }
    /// Makes the file, with what stands in front of the event database.
    void create(const std::string& snapshot, bool hasMark);
    /// Adds the texts, which stand behind it.
    void createTexts();

    /// Null while no file is open.
    WdbStringMapDatabase* getTexts() { return m_texts.get(); }
    /// -1 without a file, and for a text that cannot be stored.
    long long addString(const std::string& text) { return m_texts ? m_texts->addString(text) : -1; }
    /// Sets the mark to the time before `latest`, of which more may come.
    void markWholeBefore(long long latest);
    /// Stores the last of the texts.
    void closeTexts() { m_texts.reset(); }
    /// When nothing else belongs to the file. `wasOpen` says whether there was an event database.
    void close(bool wasOpen);

private:
    void setName(const std::string& name);
    void requireStorage() const;

    WdbFileManager m_manager;
    std::string m_name;
    WdbWholeMark m_mark;
    std::unique_ptr<WdbStringMapDatabase> m_texts;
};

} // namespace Tracewell
