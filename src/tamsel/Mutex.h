#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Annotations for clang's -Wthread-safety; other compilers ignore them.
#if defined(__clang__)
#define TAMSEL_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define TAMSEL_THREAD_SAFETY(attribute)
#endif

/// A member that is accessed only while this mutex is held, or only in items of this queue.
#define TAMSEL_GUARDED_BY(mutex) TAMSEL_THREAD_SAFETY(guarded_by(mutex))
/// A function that is called only while this mutex is held.
#define TAMSEL_REQUIRES(mutex) TAMSEL_THREAD_SAFETY(requires_capability(mutex))
/// A function that takes this mutex, so it must not be called while the mutex is held.
#define TAMSEL_EXCLUDES(mutex) TAMSEL_THREAD_SAFETY(locks_excluded(mutex))

namespace tamsel {

/// A std::mutex that the compiler can check.
class TAMSEL_THREAD_SAFETY(capability("mutex")) Mutex {
public:
    void lock() TAMSEL_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
    bool tryLock() TAMSEL_THREAD_SAFETY(try_acquire_capability(true)) { return mutex_.try_lock(); }
    void unlock() TAMSEL_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

private:
    friend class MutexLock;
    std::mutex mutex_;
};

/// Holds a mutex until it is destroyed, or between calls of unlock and lock. Used by one thread.
class TAMSEL_THREAD_SAFETY(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) TAMSEL_THREAD_SAFETY(acquire_capability(mutex)) : lock_(mutex.mutex_) { }
    ~MutexLock() TAMSEL_THREAD_SAFETY(release_capability()) = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() TAMSEL_THREAD_SAFETY(acquire_capability()) { lock_.lock(); }
    void unlock() TAMSEL_THREAD_SAFETY(release_capability()) { lock_.unlock(); }

private:
    friend class Condition;
    std::unique_lock<std::mutex> lock_;
};

/// A std::condition_variable for a MutexLock. The caller checks its condition in its own loop, where the compiler sees
/// that the mutex is held.
class Condition {
public:
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }
    void wait(MutexLock& lock) { condition_.wait(lock.lock_); }

    /// True when woken, possibly spuriously, before the time.
    template <typename Clock, typename Duration>
    bool waitUntil(MutexLock& lock, std::chrono::time_point<Clock, Duration> time)
    {
        return condition_.wait_until(lock.lock_, time) == std::cv_status::no_timeout;
    }

private:
    std::condition_variable condition_;
};

} // namespace tamsel
