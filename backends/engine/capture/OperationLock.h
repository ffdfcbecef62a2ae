#pragma once

#include <tamsel/Mutex.h>

#include <memory>
#include <mutex>

namespace tamsel::engine {

/// Mutual exclusion for calls that may take as long as a device needs. A back end without threads supplies one that
/// runs other work meanwhile.
class TAMSEL_THREAD_SAFETY(capability("operation")) OperationLock {
public:
    virtual ~OperationLock() = default;

    /// Waits until the lock is free.
    virtual void lock() TAMSEL_THREAD_SAFETY(acquire_capability()) = 0;
    virtual void unlock() TAMSEL_THREAD_SAFETY(release_capability()) = 0;
};

/// Holds an operation lock until it is destroyed.
class TAMSEL_THREAD_SAFETY(scoped_lockable) OperationHold {
public:
    explicit OperationHold(OperationLock& lock) TAMSEL_THREAD_SAFETY(acquire_capability(lock)) : lock_(lock)
    {
        lock_.lock();
    }
    ~OperationHold() TAMSEL_THREAD_SAFETY(release_capability()) { lock_.unlock(); }
    OperationHold(const OperationHold&) = delete;
    OperationHold& operator=(const OperationHold&) = delete;

private:
    OperationLock& lock_;
};

/// The lock of back ends with threads: a mutex. (The capability is the lock, so the mutex needs no annotations.)
class ThreadOperationLock final : public OperationLock {
public:
    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

} // namespace tamsel::engine
