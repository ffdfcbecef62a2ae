#pragma once

#include "Environment.h"

#include <chrono>
#include <functional>

namespace tamsel::capture {

/// Waits on the main loop for the results of a session, until an interrupt.
class Waiter {
public:
    explicit Waiter(Environment& environment) : environment_(environment) { }

    /// Waits until the condition holds, the time is over, or an interrupt comes. Whether the condition holds then.
    [[nodiscard]] bool waitFor(std::chrono::nanoseconds limit, const std::function<bool()>& condition);
    /// After an interrupt: later waits end at another one.
    void clearInterrupt() { isPending_ = false; }
    /// Ignores interrupts; for work that must complete.
    [[nodiscard]] bool waitUninterrupted(
        std::chrono::nanoseconds limit, const std::function<bool()>& condition);

    /// Runs the block on the queue and waits for that, ignoring interrupts, for up to a minute. After that the block may still
    /// run, so it must own what it uses.
    void runBehind(platform::DispatchQueue& queue, std::function<void()> block);

    /// Whether an interrupt has come.
    [[nodiscard]] bool isInterrupted() const { return wasInterrupted_; }

    /// Evaluates the condition again at once. Thread-safe.
    void wake();

private:
    Environment& environment_;
    bool isPending_ = false; ///< an interrupt that ends waits
    bool wasInterrupted_ = false;
};

} // namespace tamsel::capture
