#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tamsel::platform {

/// A timer of a run loop. Used on the thread of its run loop only.
class Timer {
public:
    virtual ~Timer() = default;

    /// Ends the timer. A timer that is invalidated from inside its own block keeps the block until that call returns.
    virtual void invalidate() = 0;
    [[nodiscard]] virtual bool isValid() const = 0;
};

/// The run loop of one thread. Timers fire only while it runs, on its thread.
class RunLoop {
public:
    virtual ~RunLoop() = default;

    /// Makes a timer that first fires one interval from now. The loop holds it until it is invalidated, or, when it
    /// does not repeat, has fired. A loop that comes late skips the missed ticks and keeps the phase.
    virtual std::shared_ptr<Timer> scheduleTimer(
        std::chrono::nanoseconds interval, bool repeats, std::function<void(Timer&)> block)
        = 0;
};

/// Knows the run loop of the calling thread. Thread-safe.
class RunLoops {
public:
    virtual ~RunLoops() = default;

    /// The calling thread's loop, made on first use.
    [[nodiscard]] virtual RunLoop& current() = 0;
};

/// Wall-clock and monotonic time. Thread-safe.
class Clock {
public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 00:00 UTC.
    [[nodiscard]] virtual double timeIntervalSince1970() const = 0;

    /// Time since a fixed but unnamed point; never runs backwards.
    [[nodiscard]] virtual std::chrono::nanoseconds monotonic() const = 0;
};

} // namespace tamsel::platform
