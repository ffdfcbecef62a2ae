#pragma once

#include <tamsel/Mutex.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <utility>

namespace tamsel::host {

/// Ends a thread that waits for the time of its next frame or sound. Thread-safe.
class StopSignal {
public:
    explicit StopSignal(
        std::shared_ptr<std::atomic<bool>> isStopped = std::make_shared<std::atomic<bool>>(false))
        : isStopped_(std::move(isStopped))
    {
    }

    /// True after `stop`, for other waits.
    [[nodiscard]] const std::shared_ptr<std::atomic<bool>>& isStopped() const { return isStopped_; }

    /// False when it was stopped before.
    [[nodiscard]] bool waitUntil(std::chrono::nanoseconds monotonicTime)
    {
        MutexLock lock(guard_);
        while (!*isStopped_
            && changed_.waitUntil(lock, std::chrono::steady_clock::time_point(monotonicTime))) { }
        return !*isStopped_;
    }
    void stop()
    {
        const MutexLock lock(guard_);
        *isStopped_ = true;
        changed_.notifyAll();
    }

private:
    const std::shared_ptr<std::atomic<bool>> isStopped_;
    Mutex guard_; ///< for the wait only, so that it misses no change
    Condition changed_;
};

} // namespace tamsel::host
