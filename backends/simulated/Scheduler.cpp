#include <simulated/SchedulerParts.h>

#include <engine/dispatch/callback.h>

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

namespace {

constexpr const char* mainThread = "main";
/// The gain of the wall clock. Without it rounding of doubles would make half of all durations look shorter.
constexpr double wallClockGain = 1e-6;

} // namespace

class Scheduler::Lock final : public engine::OperationLock {
public:
    explicit Lock(std::shared_ptr<Scheduler*> scheduler) : scheduler_(std::move(scheduler)) { }

    void lock() override
    {
        while (isLocked_ && *scheduler_) {
            Scheduler& scheduler = **scheduler_;
            if (scheduler.running_) {
                waiting_.push_back(scheduler.running_);
                scheduler.suspendTask();
            } else if (!scheduler.step() && !scheduler.advanceToNext(std::chrono::nanoseconds::max())) {
                std::fputs("tamsel: the calling thread waits for ever\n", stderr);
                std::abort();
            }
        }
        isLocked_ = true;
    }

    void unlock() override
    {
        isLocked_ = false;
        if (!waiting_.empty() && *scheduler_) {
            Task* next = waiting_.front();
            waiting_.pop_front();
            (*scheduler_)->woken_.push_back(next);
        }
    }

private:
    const std::shared_ptr<Scheduler*> scheduler_;
    bool isLocked_ = false;
    std::deque<Task*> waiting_;
};

/// A timer of a driver. Its callbacks are items of a queue of its own, so they do not overlap.
class Scheduler::TimerSource final : public engine::EventSource {
public:
    TimerSource(std::shared_ptr<Scheduler*> scheduler, std::function<void()> fire)
        : scheduler_(std::move(scheduler)),
          state_(std::make_shared<State>(std::make_shared<Queue>("timer", scheduler_), std::move(fire)))
    {
    }
    ~TimerSource() override { ++state_->arming; }
    TimerSource(const TimerSource&) = delete;
    TimerSource& operator=(const TimerSource&) = delete;

    void armAt(std::chrono::nanoseconds monotonicTime) override
    {
        const std::uint64_t arming = ++state_->arming;
        if (!*scheduler_)
            return;
        (*scheduler_)->at(monotonicTime, [state = state_, arming] {
            state->queue->async([state, arming] {
                if (state->arming == arming)
                    state->fire();
            });
        });
    }
    void armReadable() override { }
    void cancel() override { ++state_->arming; }

private:
    struct State {
        std::shared_ptr<Queue> queue;
        std::function<void()> fire;
        std::uint64_t arming = 0; ///< a counter; earlier armings are void
    };

    const std::shared_ptr<Scheduler*> scheduler_;
    const std::shared_ptr<State> state_;
};

Scheduler::Scheduler(std::uint64_t seed, double timeIntervalSince1970)
    : random_(seed),
      epoch_(timeIntervalSince1970),
      link_(std::make_shared<Scheduler*>(this)),
      outsideThread_(mainThread)
{
    mainQueue_ = std::make_shared<Queue>(mainThread, link_, &loopOf(mainThread));
    globalQueue_ = std::make_shared<GlobalQueue>(link_);
}

Scheduler::~Scheduler()
{
    end();
}

void Scheduler::end()
{
    if (std::exchange(isEnding_, true))
        return;
    plans_.clear();
    for (std::size_t turn = 0; !tasks_.empty(); ++turn)
        resume(*tasks_[turn % tasks_.size()]); // in turn: one may wait for another
    *link_ = nullptr; // what is posted from here on is destroyed at once
    while (!ready_.empty()) {
        const std::shared_ptr<Queue> queue = std::move(ready_.back());
        ready_.pop_back();
        queue->items.clear();
    }
}

std::shared_ptr<platform::DispatchQueue> Scheduler::makeSerialQueue(std::string label)
{
    return std::make_shared<Queue>(std::move(label), link_);
}

std::shared_ptr<platform::DispatchQueue> Scheduler::mainQueue()
{
    return mainQueue_;
}

std::shared_ptr<platform::DispatchQueue> Scheduler::globalQueue()
{
    return globalQueue_;
}

const std::string& Scheduler::currentThread() const
{
    return running_ ? running_->thread : outsideThread_;
}

bool Scheduler::isMainThread() const
{
    return currentThread() == mainThread;
}

bool Scheduler::isRunning(const void* identity) const
{
    return running_ && running_->queue && running_->queue->identity == identity;
}

Scheduler::Loop& Scheduler::loopOf(const std::string& thread)
{
    std::unique_ptr<Loop>& loop = loops_[thread];
    if (!loop)
        loop = std::make_unique<Loop>(*this, thread);
    return *loop;
}

platform::RunLoop& Scheduler::current()
{
    return loopOf(currentThread());
}

double Scheduler::timeIntervalSince1970() const
{
    return epoch_ + std::chrono::duration<double>(now_).count() * (1 + wallClockGain);
}

std::unique_ptr<engine::EventSource> Scheduler::makeTimer(std::function<void()> fire)
{
    return std::make_unique<TimerSource>(link_, std::move(fire));
}

std::unique_ptr<engine::EventSource> Scheduler::makeDescriptor(
    int /*descriptor*/, std::function<void()> /*fire*/)
{
    return nullptr;
}

void Scheduler::asThread(const std::string& name, const std::function<void()>& body)
{
    std::string& thread = running_ ? running_->thread : outsideThread_;
    const std::string before = std::exchange(thread, name);
    body();
    thread = before;
}

void Scheduler::markReady(std::shared_ptr<Queue> queue)
{
    ready_.push_back(std::move(queue));
}

bool Scheduler::step()
{
    assert(!running_ && "the scheduler is driven from outside of its items");
    const auto isFree = [](const Loop* loop) { return !loop || !loop->isBusy; };
    struct Candidates {
        std::vector<std::size_t> queues;
        std::vector<std::size_t> plans;
    } candidates;
    for (std::size_t index = 0; index < ready_.size(); ++index) {
        if (isFree(ready_[index]->loop))
            candidates.queues.push_back(index);
    }
    for (std::size_t index = 0; index < plans_.size(); ++index) {
        if (plans_[index].time <= now_ && isFree(plans_[index].loop))
            candidates.plans.push_back(index);
    }
    const std::size_t count = candidates.queues.size() + candidates.plans.size() + woken_.size();
    if (count == 0)
        return false;
    std::size_t choice = random_() % count;

    if (choice < woken_.size()) {
        Task* task = woken_[choice];
        woken_.erase(woken_.begin() + static_cast<std::ptrdiff_t>(choice));
        resume(*task);
        return true;
    }
    choice -= woken_.size();
    if (choice < candidates.plans.size()) {
        const auto chosen = plans_.begin() + static_cast<std::ptrdiff_t>(candidates.plans[choice]);
        Plan plan = std::move(*chosen);
        plans_.erase(chosen);
        if (plan.task)
            resume(*plan.task);
        else
            begin(nullptr, plan.loop, std::move(plan.callback));
        return true;
    }
    choice -= candidates.plans.size();
    const auto chosen = ready_.begin() + static_cast<std::ptrdiff_t>(candidates.queues[choice]);
    const std::shared_ptr<Queue> queue = std::move(*chosen);
    ready_.erase(chosen);
    platform::WorkItem item = std::move(queue->items.front());
    queue->items.pop_front();
    queue->isOccupied = true;
    begin(queue, queue->loop, [item = std::move(item)]() mutable { item(); });
    return true;
}

bool Scheduler::advanceToNext(nanoseconds limit)
{
    nanoseconds next = nanoseconds::max();
    for (const Plan& plan : plans_) {
        if (plan.time > now_)
            next = std::min(next, plan.time);
    }
    if (next == nanoseconds::max() || next > limit)
        return false;
    now_ = next;
    return true;
}

void Scheduler::runUntil(nanoseconds time)
{
    do {
        while (step()) { }
    } while (advanceToNext(time));
    now_ = std::max(now_, time);
}

bool Scheduler::isIdle() const
{
    return ready_.empty() && tasks_.empty();
}

void Scheduler::at(nanoseconds time, std::function<void()> callback)
{
    plans_.push_back({.time = time, .callback = std::move(callback)});
}

void Scheduler::spend(nanoseconds duration)
{
    if (isEnding_ || duration <= nanoseconds::zero())
        return;
    if (!running_) {
        runUntil(now_ + duration);
        return;
    }
    plans_.push_back({.time = now_ + duration, .task = running_});
    suspendTask();
}

std::unique_ptr<engine::OperationLock> Scheduler::makeOperationLock()
{
    return std::make_unique<Lock>(link_);
}

void Scheduler::begin(std::shared_ptr<Queue> queue, Loop* loop, std::move_only_function<void()> body)
{
    Task& task = *tasks_.emplace_back(std::make_unique<Task>());
    if (idleFibers_.empty()) {
        task.fiber = std::make_unique<Fiber>();
    } else {
        task.fiber = std::move(idleFibers_.back());
        idleFibers_.pop_back();
    }
    task.thread = loop ? loop->thread : workerThread;
    task.queue = std::move(queue);
    task.loop = loop;
    if (loop)
        loop->isBusy = true;
    running_ = &task;
    task.fiber->run([body = std::move(body)]() mutable { engine::callOut(body); });
    running_ = nullptr;
    settle(task);
}

void Scheduler::resume(Task& task)
{
    running_ = &task;
    task.fiber->resume();
    running_ = nullptr;
    settle(task);
}

void Scheduler::settle(Task& task)
{
    if (!task.fiber->isIdle())
        return;
    if (task.loop)
        task.loop->isBusy = false;
    if (task.queue) {
        task.queue->isOccupied = false;
        if (!task.queue->items.empty())
            markReady(task.queue);
    }
    idleFibers_.push_back(std::move(task.fiber));
    const auto found = std::ranges::find(tasks_, &task, &std::unique_ptr<Task>::get);
    const std::unique_ptr<Task> ended = std::move(*found); // its queue may be released with it
    tasks_.erase(found);
}

void Scheduler::suspendTask()
{
    running_->fiber->suspend();
}

} // namespace tamsel::simulated
