#pragma once

#include <tamsel/Mutex.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace tamsel::host {

/// The position of a file that a camera plays in a loop, on the monotonic clock, so that its sound can be played in sync.
/// Thread-safe.
class PlaybackClock {
public:
    /// One loop of the file.
    struct Loop {
        std::uint64_t run; ///< the start of the camera
        std::uint64_t number; ///< from 0, within the run
        /// When the file's time zero of this loop is due.
        std::chrono::nanoseconds zero;
    };

    /// Begins a new run of the camera; calls for an earlier one are ignored from now on.
    [[nodiscard]] std::uint64_t begin()
    {
        const MutexLock lock(guard_);
        loop_.reset();
        return ++run_;
    }
    /// The camera has begun this loop. Ignored for an earlier run.
    void set(const Loop& loop)
    {
        const MutexLock lock(guard_);
        if (loop.run == run_)
            loop_ = loop;
    }
    /// The run has ended. Ignored unless it is the latest.
    void end(std::uint64_t run)
    {
        const MutexLock lock(guard_);
        if (run == run_) {
            ++run_;
            loop_.reset();
        }
    }

    /// Of the frame that is shown next; absent while the camera does not play.
    [[nodiscard]] std::optional<Loop> loop() const
    {
        const MutexLock lock(guard_);
        return loop_;
    }

private:
    mutable Mutex guard_;
    std::uint64_t run_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::optional<Loop> loop_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
