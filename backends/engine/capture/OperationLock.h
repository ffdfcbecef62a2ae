#pragma once

#include <tamsel/Mutex.h>

#include <memory>
#include <mutex>

namespace tamsel::engine {

/// Mutual exclusion for calls that may take as long as a device needs. A back end without threads supplies one that
/// lets other work go on meanwhile. Works with `std::lock_guard`.
class OperationLock {
public:
    virtual ~OperationLock() = default;

    /// Waits until nobody else has it.
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

/// The lock of back ends with threads: a mutex.
class ThreadOperationLock final : public OperationLock {
public:
    void lock() override { guard_.lock(); }
    void unlock() override { guard_.unlock(); }

private:
    Mutex guard_;
};

} // namespace tamsel::engine
