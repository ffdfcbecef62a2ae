#pragma once

#include <engine/dispatch/SerialQueue.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/RunLoop.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// The run loop of one real thread: its timers and at most one queue, which uses it as its executor. Its descriptor
/// becomes readable when there is something to do, so any other event loop can drive it.
class ThreadRunLoop final : public platform::RunLoop, public QueueExecutor {
public:
    ThreadRunLoop();
    ~ThreadRunLoop() override;
    ThreadRunLoop(const ThreadRunLoop&) = delete;
    ThreadRunLoop& operator=(const ThreadRunLoop&) = delete;

    std::shared_ptr<platform::Timer> scheduleTimer(std::chrono::nanoseconds interval, bool repeats,
        std::function<void(platform::Timer&)> block) override;

    /// Until `stop` is called. On the loop's thread.
    void run();
    /// Runs what is ready, after waiting at most `limit` for the first item. True when anything ran. On the loop's
    /// thread.
    bool runOnce(std::chrono::nanoseconds limit);
    /// Ends `run`, or the next one. Thread-safe.
    void stop();

    /// False when the system had no descriptor left; the loop then checks for work at intervals.
    [[nodiscard]] bool isOpen() const
    {
        return pollDescriptor_ >= 0 && wakeDescriptor_ >= 0 && timerDescriptor_ >= 0;
    }
    /// Readable while a main-queue item waits or a timer is due. Then call `runOnce` with a limit of zero.
    [[nodiscard]] int descriptor() const { return pollDescriptor_; }

    void schedule(SerialQueue& queue) override;
    /// Destroys unrun items and the timers, and what is scheduled later at once. On the loop's thread.
    void close();

private:
    class LoopTimer;

    /// One turn, as `runOnce`; a turn of `run` also ends when `run` is to end.
    bool turn(std::chrono::nanoseconds limit, bool endsWhenStopped);
    [[nodiscard]] SerialQueue* takeReady();
    [[nodiscard]] bool fireTimers();
    bool dropEnded();
    void armDescriptor();
    void wake() const;

    int pollDescriptor_;
    int wakeDescriptor_;
    int timerDescriptor_;
    std::vector<std::shared_ptr<LoopTimer>> timers_;
    Mutex guard_;
    SerialQueue* ready_ TAMSEL_GUARDED_BY(guard_) = nullptr;
    bool isClosed_ TAMSEL_GUARDED_BY(guard_) = false;
    std::atomic<bool> isStopped_ = false;
};

} // namespace tamsel::engine
