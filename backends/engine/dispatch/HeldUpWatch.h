#pragma once

#include <tamsel/Mutex.h>

#include <atomic>
#include <functional>
#include <thread>

namespace tamsel::engine {

/// A thread that looks every 10 ms, but only while there is something to look after. Thread-safe.
class HeldUpWatch {
public:
    /// `look` is called on the watch's thread and returns whether it wants to look again.
    explicit HeldUpWatch(std::function<bool()> look) : look_(std::move(look)) { }

    /// Does nothing when the system has no thread left.
    void start();
    /// Ends and joins the thread.
    void stop();

    /// There is something to look after. Costs nothing while the watch is on.
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
