#pragma once

#include "Environment.h"

#include <chrono>
#include <functional>

namespace tamsel::capture {

/// Waits on the main loop for what a session will bring, until the person in front of it does not want to.
class Waiter {
public:
    explicit Waiter(Environment& environment) : environment_(environment) { }

    /// Whether the condition holds at the end: when it does, when the time has passed, or when it was interrupted.
    [[nodiscard]] bool waitFor(std::chrono::nanoseconds limit, const std::function<bool()>& condition);
    /// The next wait may end when it is asked to, another time.
    void goOn() { isAsked_ = false; }
    /// Waits whoever wants it to end, for what must not be left half done.
    [[nodiscard]] bool waitThrough(std::chrono::nanoseconds limit, const std::function<bool()>& condition);

    /// Runs the block on the queue, behind all that waits there, and waits for that whoever wants it to end. Should the
    /// queue be stuck for a minute, the block may yet run later: it holds what it uses.
    void runBehind(platform::DispatchQueue& queue, std::function<void()> block);

    /// It has been asked to end.
    [[nodiscard]] bool isInterrupted() const { return wasAsked_; }

    /// From any thread: conditions are asked again at once.
    void wake();

private:
    Environment& environment_;
    bool isAsked_ = false;
    bool wasAsked_ = false;
};

} // namespace tamsel::capture
