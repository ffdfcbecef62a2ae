#pragma once

#include <functional>
#include <memory>

namespace tamsel::simulated {

/// A body of code that can stop in the middle and be gone on with, all on one thread. It is used again and again: once
/// a body has ended, the next may be given.
class Fiber {
public:
    Fiber();
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    /// Runs `body` until it ends or suspends. The fiber must be idle.
    void run(std::move_only_function<void()> body);
    /// Continues after a `suspend`.
    void resume();
    /// Called from inside the body: returns to the caller of `run` or `resume`.
    void suspend();

    [[nodiscard]] bool isIdle() const { return !body_; }

private:
    struct Context;

    static void enter();
    void loop();
    void switchIn();

    const std::unique_ptr<Context> context_;
    std::move_only_function<void()> body_;
};

} // namespace tamsel::simulated
