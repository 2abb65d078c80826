// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cassert>
#include <mutex>

// What a mutex guards and who must hold it, said so that clang holds the code to it
// (-Wthread-safety, on in every build by clang). Nothing of it reaches the compiled code.

#if defined(__clang__)
#define TRACEWELL_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define TRACEWELL_THREAD_ATTRIBUTE(attribute)
#endif

/// A member or variable that is used under this mutex alone; constructors and destructors are free.
#define TRACEWELL_GUARDED_BY(mutex) TRACEWELL_THREAD_ATTRIBUTE(guarded_by(mutex))
/// The same of what a pointer points to.
#define TRACEWELL_PT_GUARDED_BY(mutex) TRACEWELL_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
/// A function that its caller calls with the mutex held, and finds held when it returns.
#define TRACEWELL_REQUIRES(mutex) TRACEWELL_THREAD_ATTRIBUTE(requires_capability(mutex))
/// A function that takes the mutex, or waits for somebody who does.
#define TRACEWELL_EXCLUDES(mutex) TRACEWELL_THREAD_ATTRIBUTE(locks_excluded(mutex))
/// A function that gives this mutex.
#define TRACEWELL_RETURNS_MUTEX(mutex) TRACEWELL_THREAD_ATTRIBUTE(lock_returned(mutex))

// For CheckedMutex and CheckedLock.
#define TRACEWELL_CAPABILITY TRACEWELL_THREAD_ATTRIBUTE(capability("mutex"))
#define TRACEWELL_SCOPED_CAPABILITY TRACEWELL_THREAD_ATTRIBUTE(scoped_lockable)
#define TRACEWELL_ACQUIRE(...) TRACEWELL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TRACEWELL_RELEASE(...) TRACEWELL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TRACEWELL_TRY_ACQUIRE(result) TRACEWELL_THREAD_ATTRIBUTE(try_acquire_capability(result))
#define TRACEWELL_ASSERT_HELD TRACEWELL_THREAD_ATTRIBUTE(assert_capability(this))
#define TRACEWELL_UNCHECKED_BODY TRACEWELL_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace Tracewell {

/// A mutex of the standard library or of Boost that the macros above can name. Where an interface
/// wants the bare mutex, it is one.
template <class Base> class TRACEWELL_CAPABILITY CheckedMutex : public Base
{
public:
    // The bodies call what carries no attributes.
    void lock() TRACEWELL_ACQUIRE() TRACEWELL_UNCHECKED_BODY { Base::lock(); }
    void unlock() TRACEWELL_RELEASE() TRACEWELL_UNCHECKED_BODY { Base::unlock(); }
    bool try_lock() TRACEWELL_TRY_ACQUIRE(true) TRACEWELL_UNCHECKED_BODY
    {
        return Base::try_lock();
    }
    /// For functions that are handed a bare lock, which the compiler does not see through.
    template <class Lock> void assertHeldBy(const Lock& lock) const TRACEWELL_ASSERT_HELD
    {
        assert(lock.owns_lock() && lock.mutex() == this);
        static_cast<void>(lock);
    }
};

using Mutex = CheckedMutex<std::mutex>;
using RecursiveMutex = CheckedMutex<std::recursive_mutex>;

/// Holds a mutex from here to the end of the block, but between unlock and lock. A condition is
/// waited for in a loop around wait, and not by a predicate: the compiler takes a lambda for a
/// function that nobody calls with the mutex held.
template <class Base, class Inner = std::unique_lock<Base>>
class TRACEWELL_SCOPED_CAPABILITY CheckedLock
{
public:
    explicit CheckedLock(CheckedMutex<Base>& mutex) TRACEWELL_ACQUIRE(mutex) : m_inner(mutex) {}
    CheckedLock(const CheckedLock&) = delete;
    CheckedLock& operator=(const CheckedLock&) = delete;
    ~CheckedLock() TRACEWELL_RELEASE() {}

    void lock() TRACEWELL_ACQUIRE() { m_inner.lock(); }
    void unlock() TRACEWELL_RELEASE() { m_inner.unlock(); }

    template <class Condition> void wait(Condition& condition) { condition.wait(m_inner); }
    template <class Condition, class Duration>
    void waitFor(Condition& condition, const Duration& duration)
    {
        condition.wait_for(m_inner, duration);
    }

private:
    Inner m_inner;
};

using MutexLock = CheckedLock<std::mutex>;
using RecursiveMutexLock = CheckedLock<std::recursive_mutex>;

} // namespace Tracewell
