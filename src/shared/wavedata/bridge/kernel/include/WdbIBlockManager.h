// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"
#include "WdbDamageLog.h"

#include <boost/thread/recursive_mutex.hpp>

#include <memory>
#include <string>

namespace Tracewell {

class StorageHealth;

/// Stores runs of bytes and gives a handle for each: the only path by which persistent structures
/// reach their storage. A block has no header; whoever keeps the handle keeps the size too. A
/// stored block never moves and never changes its size, so a reader may run beside the writer.
///
/// A failed transfer is never reported to the caller. The managers over a stream print one line to
/// the standard error stream and end the process; see StorageFailure.h for hosts that go on. A
/// broken manager gives the handle 0 for every block, and zeros for every place.
class TRACEWELL_API WdbIBlockManager
{
public:
    WdbIBlockManager();
    WdbIBlockManager(const WdbIBlockManager&) = delete;
    WdbIBlockManager& operator=(const WdbIBlockManager&) = delete;
    virtual ~WdbIBlockManager();

    /// Stores a copy of `size` bytes behind everything stored so far and returns its handle.
    virtual long long addBlock(const char* data, unsigned long long size) = 0;
    /// Copies `size` bytes from the handle's place to `out`.
    virtual void getBlock(long long handle, char* out, unsigned long long size) const = 0;
    /// Overwrites `size` bytes at the handle's place.
    virtual void putBlock(long long handle, const char* data, unsigned long long size) = 0;
    /// Says that the block is no longer needed. Its bytes stay where they are.
    virtual void freeBlock(long long handle, unsigned long long size) = 0;

    /// False when the run of bytes cannot lie in this storage. A handle or a size that came from
    /// a file must pass this test before getBlock. Managers without an extent answer true.
    virtual bool contains(long long handle, unsigned long long size) const;

    /// Whether a transfer failed and the host's handler took it. Any thread.
    bool isBroken() const;
    /// Breaks the storage: see setStorageFailureHandler. Without a handler it does not return.
    /// `literal` is the line up to the system's reason, which is that of the current errno.
    void breakDown(const std::string& literal) const;
    /// For a manager that stands for another storage from here on.
    void mend() const;
    /// Breaks together with another manager over the same storage from here on. No transfer of this
    /// one may be under way.
    void shareHealth(const WdbIBlockManager& other) { m_health = other.m_health; }

    /// Where whoever reads this storage notes what is damaged: see WdbDamageLog. The log must
    /// outlive the manager. Null, as at first, for a storage that nobody asks about.
    void setDamageLog(WdbDamageLog* log) { m_damageLog = log; }
    WdbDamageLog* getDamageLog() const { return m_damageLog; }
    void noteDamage(const WdbDamage& damage) const
    {
        if (m_damageLog) {
            m_damageLog->note(damage);
        }
    }

    /// Guards the storage; recursive, so a caller may hold it around several block operations.
    CheckedMutex<boost::recursive_mutex>& getMutex() const TRACEWELL_RETURNS_MUTEX(m_mutex)
    {
        return m_mutex;
    }

private:
    mutable CheckedMutex<boost::recursive_mutex> m_mutex;
    std::shared_ptr<StorageHealth> m_health;
    WdbDamageLog* m_damageLog = nullptr;
};

} // namespace Tracewell
