#pragma once

// What the scheduler is made of; for its own source only.

#include <simulated/Scheduler.h>

#include <algorithm>
#include <utility>

namespace tamsel::simulated {

/// A queue that outlives the scheduler destroys what is posted to it.
class Scheduler::Queue final : public platform::DispatchQueue, public std::enable_shared_from_this<Queue> {
public:
    Queue(std::string label, std::shared_ptr<Scheduler*> scheduler, Loop* onlyLoop = nullptr,
        const void* sharedIdentity = nullptr)
        : loop(onlyLoop),
          identity(sharedIdentity ? sharedIdentity : this),
          label_(std::move(label)),
          scheduler_(std::move(scheduler))
    {
    }

    void async(platform::WorkItem item) override
    {
        if (!*scheduler_)
            return;
        items.push_back(std::move(item));
        if (items.size() == 1 && !isOccupied)
            (*scheduler_)->markReady(shared_from_this());
    }
    [[nodiscard]] const std::string& label() const override { return label_; }
    [[nodiscard]] bool isCurrent() const override
    {
        return *scheduler_ && (*scheduler_)->isRunning(identity);
    }

    std::deque<platform::WorkItem> items;
    bool isOccupied = false;
    Loop* const loop; ///< of the thread that alone may run its items; absent when any may
    const void* const identity;

private:
    const std::string label_;
    const std::shared_ptr<Scheduler*> scheduler_;
};

/// Each item is a queue of its own, so any number may be under way at once.
class Scheduler::GlobalQueue final : public platform::DispatchQueue {
public:
    explicit GlobalQueue(std::shared_ptr<Scheduler*> scheduler) : scheduler_(std::move(scheduler)) { }

    void async(platform::WorkItem item) override
    {
        std::make_shared<Queue>(label_, scheduler_, nullptr, this)->async(std::move(item));
    }
    [[nodiscard]] const std::string& label() const override { return label_; }
    [[nodiscard]] bool isCurrent() const override { return *scheduler_ && (*scheduler_)->isRunning(this); }

private:
    const std::string label_ = "global";
    const std::shared_ptr<Scheduler*> scheduler_;
};

/// The run loop of a virtual thread. It runs whenever the scheduler does.
class Scheduler::Loop final : public platform::RunLoop {
public:
    Loop(Scheduler& scheduler, std::string name) : thread(std::move(name)), scheduler_(scheduler) { }

    std::shared_ptr<platform::Timer> scheduleTimer(
        std::chrono::nanoseconds interval, bool repeats, std::function<void(platform::Timer&)> block) override
    {
        auto timer = std::make_shared<LoopTimer>(
            std::max(interval, std::chrono::nanoseconds{1}), repeats, std::move(block));
        timer->due = scheduler_.now_ + timer->interval;
        plan(timer);
        return timer;
    }

    const std::string thread;
    bool isBusy = false;

private:
    struct LoopTimer final : platform::Timer {
        LoopTimer(std::chrono::nanoseconds every, bool isRepeated, std::function<void(platform::Timer&)> call)
            : interval(every),
              repeats(isRepeated),
              block(std::move(call))
        {
        }
        void invalidate() override
        {
            valid = false;
            if (!isFiring)
                block = nullptr;
        }
        [[nodiscard]] bool isValid() const override { return valid; }

        const std::chrono::nanoseconds interval;
        const bool repeats;
        bool valid = true;
        bool isFiring = false;
        std::chrono::nanoseconds due{};
        std::function<void(platform::Timer&)>
            block; ///< kept while it runs, and no longer than the timer is valid
    };

    void plan(const std::shared_ptr<LoopTimer>& timer)
    {
        scheduler_.plans_.push_back(
            {.time = timer->due, .callback = [this, timer] { fire(timer); }, .loop = this});
    }

    void fire(const std::shared_ptr<LoopTimer>& timer)
    {
        if (!timer->valid)
            return;
        const std::chrono::nanoseconds now = scheduler_.now_;
        if (timer->repeats)
            timer->due += ((now - timer->due) / timer->interval + 1) * timer->interval;
        else
            timer->valid = false;
        timer->isFiring = true;
        timer->block(*timer);
        timer->isFiring = false;
        if (timer->valid)
            plan(timer);
        else
            timer->block = nullptr;
    }

    Scheduler& scheduler_;
};

/// One item that is under way.
struct Scheduler::Task {
    std::unique_ptr<Fiber> fiber;
    std::string thread;
    std::shared_ptr<Queue> queue;
    Loop* loop = nullptr;
};

} // namespace tamsel::simulated
