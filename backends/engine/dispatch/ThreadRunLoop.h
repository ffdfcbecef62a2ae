#pragma once

#include <engine/dispatch/SerialQueue.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/RunLoop.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// The run loop of one real thread: its timers and at most one queue, which names it as its executor. Its descriptor
/// becomes readable when there is something to do, so that it can be driven from any other event loop.
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
    /// Runs what is ready, after waiting at most `limit` for the first of it. True when anything ran. On the loop's
    /// thread.
    bool runOnce(std::chrono::nanoseconds limit);
    /// Ends `run`, or the next one. Thread-safe.
    void stop();

    /// Otherwise the system had no descriptor left, and this loop looks now and then for what there is to do.
    [[nodiscard]] bool isOpen() const
    {
        return pollDescriptor_ >= 0 && wakeDescriptor_ >= 0 && timerDescriptor_ >= 0;
    }
    /// Readable while a main-queue item waits or a timer is due. Call `runOnce` with a limit of zero then.
    [[nodiscard]] int descriptor() const { return pollDescriptor_; }

    void schedule(SerialQueue& queue) override;
    /// Destroys what has not run, and the timers; what is scheduled later is destroyed at once. On the loop's thread.
    void close();

private:
    class LoopTimer;

    /// One turn, as `runOnce`; as part of `run` it also ends when that is to end.
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
