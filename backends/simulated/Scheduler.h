#pragma once

#include <simulated/Fiber.h>

#include <engine/capture/OperationLock.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// Virtual time, queues and run loops without threads. Its seed chooses among simultaneous events, so one test explores
/// many orders. An item that takes time is suspended: other items run meanwhile, and the rest of it runs at the later
/// time. Not thread-safe: everything is one thread.
class Scheduler final : public platform::Dispatch,
                        public platform::RunLoops,
                        public platform::Clock,
                        public engine::EventSources {
public:
    explicit Scheduler(std::uint64_t seed, double timeIntervalSince1970);
    ~Scheduler() override;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Ends suspended items, as if no further time were needed, and destroys unrun ones. Nothing runs afterwards.
    void end();

    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeSerialQueue(std::string label) override;
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> mainQueue() override;
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> globalQueue() override;
    [[nodiscard]] bool isMainThread() const override;
    [[nodiscard]] platform::RunLoop& current() override;
    [[nodiscard]] double timeIntervalSince1970() const override;
    [[nodiscard]] std::chrono::nanoseconds monotonic() const override { return now_; }
    [[nodiscard]] std::unique_ptr<engine::EventSource> makeTimer(std::function<void()> fire) override;
    /// Absent: there are no external descriptors.
    [[nodiscard]] std::unique_ptr<engine::EventSource> makeDescriptor(
        int descriptor, std::function<void()> fire) override;

    /// Calls `body` as a thread of that name would; outside of items the calling thread is "main".
    void asThread(const std::string& name, const std::function<void()>& body);

    /// Runs one thing that is ready now; false when there is none.
    bool step();
    /// Advances the time to the next event, at most to `limit`; false when there is none before.
    bool advanceToNext(std::chrono::nanoseconds limit);
    /// Advances the time without running anything: due items wait.
    void pass(std::chrono::nanoseconds duration) { now_ += duration; }
    /// Runs everything up to a time, and stops there.
    void runUntil(std::chrono::nanoseconds time);
    /// True when no item waits or is suspended. Timers and devices may still be armed.
    [[nodiscard]] bool isIdle() const;

    /// Calls back at a time; the callback is an item of its own and may take time.
    void at(std::chrono::nanoseconds time, std::function<void()> callback);

    /// Suspends the calling item for a time. Outside of items, time passes and everything else runs.
    void spend(std::chrono::nanoseconds duration);

    [[nodiscard]] std::unique_ptr<engine::OperationLock> makeOperationLock();

private:
    class Queue;
    class GlobalQueue;
    class Loop;
    class Lock;
    class TimerSource;
    struct Task;
    struct Plan {
        std::chrono::nanoseconds time;
        std::function<void()> callback = {};
        Loop* loop = nullptr; ///< of the thread that must be free for it; absent for any thread
        Task* task = nullptr; ///< to resume, in place of the callback
    };

    [[nodiscard]] const std::string& currentThread() const;
    [[nodiscard]] bool isRunning(const void* identity) const;
    [[nodiscard]] Loop& loopOf(const std::string& thread);
    void markReady(std::shared_ptr<Queue> queue);
    void begin(std::shared_ptr<Queue> queue, Loop* loop, std::move_only_function<void()> body);
    void resume(Task& task);
    void settle(Task& task);
    /// Returns control to the scheduler until the calling task is resumed.
    void suspendTask();

    std::mt19937_64 random_;
    const double epoch_;
    std::chrono::nanoseconds now_{};
    const std::shared_ptr<Scheduler*> link_; ///< objects that outlive the scheduler find null in it
    bool isEnding_ = false;
    std::vector<Plan> plans_;
    std::vector<std::shared_ptr<Queue>> ready_;
    std::vector<Task*> woken_;
    std::vector<std::unique_ptr<Task>> tasks_;
    std::vector<std::unique_ptr<Fiber>> idleFibers_;
    Task* running_ = nullptr;
    std::string outsideThread_;
    std::map<std::string, std::unique_ptr<Loop>> loops_;
    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<GlobalQueue> globalQueue_;
};

} // namespace tamsel::simulated
