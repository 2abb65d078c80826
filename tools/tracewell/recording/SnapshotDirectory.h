#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// A private directory beside the output that holds the name table as the debug file of a snapshot,
/// where the writer's open looks for it. Gone with the object.
class SnapshotDirectory
{
public:
    /// \throws CommandError when the place for the output cannot be written to.
    SnapshotDirectory(const std::string& output, std::string_view nameTable);
    SnapshotDirectory(const SnapshotDirectory&) = delete;
    SnapshotDirectory& operator=(const SnapshotDirectory&) = delete;
    ~SnapshotDirectory();

    /// What to give to the writer's open.
    const std::string& snapshot() const { return m_snapshot; }

private:
    void write(const std::string& output, std::string_view nameTable);
    void remove();

    std::string m_path;
    std::string m_snapshot;
};

} // namespace tracewell
