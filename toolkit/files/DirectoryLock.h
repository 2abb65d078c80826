// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

namespace tracewell {

/// Holds a directory of this process as one that is in use, until the object or the process goes,
/// however that ends. Where a file system knows no locks, nothing is held.
class DirectoryLock
{
public:
    DirectoryLock() = default;
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;
    ~DirectoryLock() { release(); }

    void hold(const std::string& path);
    void release();

private:
    int m_descriptor = -1;
};

/// Removes what processes that were killed left in `parent`: directories that `pattern` names, as
/// mkdtemp() takes it, which belong to this user alone, are older than a minute and are held by
/// nobody. Follows no symbolic link. What cannot be removed stays.
void removeAbandonedDirectories(const std::string& parent, const std::string& pattern);

} // namespace tracewell
