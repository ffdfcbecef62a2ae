#pragma once

#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/ThreadedDispatch.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace tamsel::tests {

/// Only a fault makes a test wait for so long.
inline constexpr std::chrono::seconds patience{60};

/// What never comes would hold up the end of the dispatch as well, so the process ends here.
[[noreturn]] inline void giveUp()
{
    ADD_FAILURE() << "waited in vain";
    std::abort();
}

/// What threads count up and tests wait for.
class Counter {
public:
    void raise()
    {
        const std::lock_guard lock(guard_);
        ++count_;
        changed_.notify_all();
    }
    void waitFor(int least)
    {
        std::unique_lock lock(guard_);
        if (!changed_.wait_for(lock, patience, [&] { return count_ >= least; }))
            giveUp();
    }
    operator int() const
    {
        const std::lock_guard lock(guard_);
        return count_;
    }

private:
    mutable std::mutex guard_;
    std::condition_variable changed_;
    int count_ = 0;
};

/// Waits until an item that is posted now has run. Not from inside an item of the queue.
inline void drain(platform::DispatchQueue& queue)
{
    const auto drained = std::make_shared<Counter>();
    queue.async([drained] { drained->raise(); });
    drained->waitFor(1);
}

/// Runs the loop until the condition holds.
inline void runUntil(engine::ThreadRunLoop& loop, const std::function<bool()>& holds)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            giveUp();
        loop.runOnce(std::chrono::milliseconds(1));
    }
}

} // namespace tamsel::tests
