#pragma once

#include <tamsel/Mutex.h>

#include <atomic>
#include <functional>
#include <thread>

namespace tamsel::engine {

/// A thread that calls a check every 10 ms while it is on. Thread-safe.
class HeldUpWatch {
public:
    /// `look` runs on the watch's thread and returns whether the watch stays on.
    explicit HeldUpWatch(std::function<bool()> look) : look_(std::move(look)) { }

    /// Does nothing when the system has no thread left.
    void start();
    /// Ends and joins the thread.
    void stop();

    /// Turns the watch on. Costs nothing while it is on.
    void begin()
    {
        if (!isOn_.load())
            turnOn();
    }

private:
    void turnOn();
    void watch();

    const std::function<bool()> look_;
    Mutex guard_;
    Condition changed_;
    std::atomic<bool> isOn_ = false; // written under the guard
    bool isStopping_ TAMSEL_GUARDED_BY(guard_) = false;
    std::thread thread_;
};

} // namespace tamsel::engine
