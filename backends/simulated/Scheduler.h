#pragma once

#include <simulated/Chooser.h>
#include <simulated/Fiber.h>

#include <engine/capture/OperationLock.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::simulated {

/// Virtual time, queues and run loops without threads. A `Chooser` decides the order of simultaneous events, so one test
/// explores many orders. An item that takes time is suspended: other items run meanwhile, and the rest of it runs at the
/// later time. Not thread-safe: everything is one thread.
class Scheduler final : public platform::Dispatch,
                        public platform::RunLoops,
                        public platform::Clock,
                        public engine::EventSources {
public:
    Scheduler(std::shared_ptr<Chooser> chooser, double timeIntervalSince1970);
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
    /// The label of the current item's queue, or else the thread's name.
    [[nodiscard]] const std::string& currentPlace() const;
    /// True inside of an item.
    [[nodiscard]] bool isInside() const { return running_ != nullptr; }

    /// Runs one thing that is ready now, or lets what is ready wait; false when there is none.
    bool step();
    /// Advances the time to the next event, at most to `limit`; false when there is none before.
    bool advanceToNext(std::chrono::nanoseconds limit);
    /// Advances the time without running anything: due items wait.
    void pass(std::chrono::nanoseconds duration) { now_ += duration; }
    /// Runs everything up to a time, and stops there, or as soon as the condition holds. False when it does not hold.
    bool runUntil(std::chrono::nanoseconds time, const std::function<bool()>& condition = nullptr);
    /// True when no item waits or is suspended. Timers and devices may still be armed.
    [[nodiscard]] bool isIdle() const;

    /// Calls back at a time; the callback is an item of its own and may take time. Those of a name keep their order.
    void at(std::chrono::nanoseconds time, std::string name, std::function<void()> callback);
    /// The same for an action on the main thread. All actions keep their order.
    void actAt(std::chrono::nanoseconds time, std::string name, std::function<void()> action);

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
    /// What runs next, or at a time: an item of a queue, a callback, or the rest of a task.
    struct Event {
        std::chrono::nanoseconds time; ///< when it would run if nothing were late
        std::string_view name;
        std::size_t chain = 0;
        std::function<void()> callback = {};
        std::shared_ptr<Queue> queue = nullptr;
        Task* task = nullptr;
        Loop* loop = nullptr; ///< of the thread that must be free for it; absent for any thread
        std::chrono::nanoseconds waitsUntil{};
    };

    [[nodiscard]] const std::string& currentThread() const;
    [[nodiscard]] bool isRunning(const void* identity) const;
    [[nodiscard]] Loop& loopOf(const std::string& thread);
    [[nodiscard]] std::size_t makeChain() { return chains_++; }
    void plan(std::chrono::nanoseconds time, Event event);
    void collectDue();
    void markReady(std::shared_ptr<Queue> queue);
    void wake(Task& task);
    [[nodiscard]] std::chrono::nanoseconds lateness(const Event& event) const;
    [[nodiscard]] std::size_t choose();
    void guardRest(std::string_view name);
    [[nodiscard]] std::chrono::nanoseconds nextTime() const;
    void run(Event event);
    void begin(Event event, std::move_only_function<void()> body);
    void resume(Task& task);
    void settle(Task& task);
    /// Returns control to the scheduler until the calling task is resumed.
    void suspendTask();

    const std::shared_ptr<Chooser> chooser_;
    const double epoch_;
    std::chrono::nanoseconds now_{};
    std::chrono::nanoseconds window_{}; ///< the end of the current `runUntil`; nothing waits beyond it
    const std::shared_ptr<Scheduler*> link_; ///< objects that outlive the scheduler find null in it
    bool isEnding_ = false;
    std::size_t chains_ = 0;
    std::map<std::string, std::size_t> chainsOfNames_;
    const std::size_t chainOfActions_ = makeChain();
    std::set<std::string> namesOfActions_; ///< events refer to them
    std::multimap<std::chrono::nanoseconds, Event> plans_;
    std::vector<Event> ready_; ///< the oldest first
    std::vector<std::size_t> candidates_; ///< indices into `ready_` of what can run now
    std::vector<ReadyEvent> offered_;
    std::vector<std::chrono::nanoseconds> later_;
    std::chrono::nanoseconds lastStep_{};
    std::size_t stepsAtOnce_ = 0;
    bool isStuck_ = false; ///< the scenario has ended, and everything runs out
    std::vector<std::unique_ptr<Task>> tasks_;
    std::vector<std::unique_ptr<Fiber>> idleFibers_;
    Task* running_ = nullptr;
    std::string outsideThread_;
    std::map<std::string, std::unique_ptr<Loop>> loops_;
    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<GlobalQueue> globalQueue_;
};

} // namespace tamsel::simulated
