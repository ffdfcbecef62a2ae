#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tamsel::platform {

/// A timer of a run loop. Used on the thread of its run loop only.
class Timer {
public:
    virtual ~Timer() = default;

    /// Stops the timer. A timer that is invalidated inside its own block keeps the block until that call returns.
    virtual void invalidate() = 0;
    [[nodiscard]] virtual bool isValid() const = 0;
};

/// The run loop of one thread. Timers fire only while it runs, on its thread.
class RunLoop {
public:
    virtual ~RunLoop() = default;

    /// Makes a timer that first fires one interval from now. The loop holds it until it is invalidated or, if it does
    /// not repeat, has fired. A late loop skips the missed ticks and keeps the phase.
    virtual std::shared_ptr<Timer> scheduleTimer(
        std::chrono::nanoseconds interval, bool repeats, std::function<void(Timer&)> block)
        = 0;
};

} // namespace tamsel::platform
