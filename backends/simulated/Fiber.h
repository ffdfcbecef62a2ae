#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <ucontext.h>

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
    /// Goes on after a `suspend`.
    void resume();
    /// Called from inside the body: returns to whoever ran or resumed the fiber.
    void suspend();

    [[nodiscard]] bool isIdle() const { return !body_; }

private:
    static void enter();
    void loop();
    void switchIn();

    void* stack_;
    ucontext_t context_{};
    ucontext_t outside_{};
    std::move_only_function<void()> body_;

    // What the sanitizers want to know about a change of stacks.
    const void* outsideStack_ = nullptr;
    std::size_t outsideStackSize_ = 0;
    void* fakeStack_ = nullptr;
    void* outsideFakeStack_ = nullptr;
    void* threadState_ = nullptr;
    void* outsideThreadState_ = nullptr;
};

} // namespace tamsel::simulated
