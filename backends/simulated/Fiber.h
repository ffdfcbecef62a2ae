#pragma once

#include <functional>
#include <memory>

namespace tamsel::simulated {

/// Code that can be suspended and resumed, all on one thread. A fiber is reused: once a body has ended, it can run the
/// next one.
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
