// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"

#include <atomic>
#include <condition_variable>

namespace Tracewell {

/// A gate between one reader and one writer, in which the reader has the right of way and the
/// writer takes no lock while no reader comes. Entered through the guards alone.
class TRACEWELL_API WdbReadWriteSync
{
public:
    WdbReadWriteSync() = default;
    WdbReadWriteSync(const WdbReadWriteSync&) = delete;
    WdbReadWriteSync& operator=(const WdbReadWriteSync&) = delete;

    class WdbReadlock
    {
    public:
        explicit WdbReadlock(const WdbReadWriteSync& gate) : m_gate(gate) { m_gate.readingBegin(); }
        WdbReadlock(const WdbReadlock&) = delete;
        WdbReadlock& operator=(const WdbReadlock&) = delete;
        ~WdbReadlock() { m_gate.readingEnd(); }

    private:
        const WdbReadWriteSync& m_gate;
    };

    class WdbWritelock
    {
    public:
        explicit WdbWritelock(const WdbReadWriteSync& gate) : m_gate(gate)
        {
            m_gate.writingBegin();
        }
        WdbWritelock(const WdbWritelock&) = delete;
        WdbWritelock& operator=(const WdbWritelock&) = delete;
        ~WdbWritelock() { m_gate.writingEnd(); }

    private:
        const WdbReadWriteSync& m_gate;
    };

private:
    void readingBegin() const;
    void readingEnd() const;
    void writingBegin() const;
    void writingEnd() const;

    // Each side sets its flag and then looks at the other's, in one order that both agree on.
    mutable std::atomic<bool> m_writing{false};
    mutable std::atomic<bool> m_reading{false};
    mutable Mutex m_mutex;
    mutable std::condition_variable m_changed;
};

} // namespace Tracewell
