// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "files/DirectoryLock.h"

#include <string>
#include <string_view>

namespace tracewell {

/// A private directory beside the output that holds the name table as the debug file of a snapshot,
/// where the writer's open looks for it. Gone with the object, or before; what a process that was
/// killed left of such goes when the next one is made in the same place.
class SnapshotDirectory
{
public:
    /// \throws Failure when the place for the output cannot be written to.
    explicit SnapshotDirectory(std::string output);
    SnapshotDirectory(const SnapshotDirectory&) = delete;
    SnapshotDirectory& operator=(const SnapshotDirectory&) = delete;
    ~SnapshotDirectory();

    /// Puts the table there; the directory is made again after a remove().
    /// \throws Failure
    void write(std::string_view nameTable);
    void remove();
    /// What to give to the writer's open.
    const std::string& snapshot() const { return m_snapshot; }

private:
    std::string m_output;
    std::string m_path;
    std::string m_snapshot;
    bool m_isThere = false;
    /// While it is there, nobody takes it for one that was left.
    DirectoryLock m_lock;
};

} // namespace tracewell
