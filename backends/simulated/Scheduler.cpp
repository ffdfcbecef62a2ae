#include <simulated/SchedulerParts.h>

#include <algorithm>
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
        while (isLocked_ && *scheduler_ && !(*scheduler_)->isStuck_) {
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
            (*scheduler_)->wake(*next);
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
        (*scheduler_)
            ->plan(monotonicTime,
                {.time = monotonicTime,
                    .name = state_->queue->label(),
                    .chain = state_->queue->chain,
                    .callback = [state = state_, arming] {
                        state->queue->async([state, arming] {
                            if (state->arming == arming)
                                state->fire();
                        });
                    }});
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

Scheduler::Scheduler(std::shared_ptr<Chooser> chooser, double timeIntervalSince1970)
    : chooser_(std::move(chooser)),
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
        const Event event = std::move(ready_.back());
        ready_.pop_back();
        if (event.queue)
            event.queue->items.clear();
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

const std::string& Scheduler::currentPlace() const
{
    return running_ && running_->queue ? running_->queue->label() : currentThread();
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

void Scheduler::plan(nanoseconds time, Event event)
{
    plans_.emplace(time, std::move(event));
}

void Scheduler::collectDue()
{
    while (!plans_.empty() && plans_.begin()->first <= now_)
        ready_.push_back(std::move(plans_.extract(plans_.begin()).mapped()));
}

void Scheduler::markReady(std::shared_ptr<Queue> queue)
{
    const Queue& of = *queue;
    ready_.push_back({.time = of.items.front().posted,
        .name = of.label(),
        .chain = of.chain,
        .queue = std::move(queue),
        .loop = of.loop});
}

void Scheduler::wake(Task& task)
{
    if (isEnding_)
        return; // all tasks are resumed in turn, and this one may have ended
    ready_.push_back({.time = now_ - task.lateness, .name = task.name, .chain = task.chain, .task = &task});
}

bool Scheduler::isIdle() const
{
    return tasks_.empty()
        && std::ranges::none_of(ready_, [](const Event& event) { return event.queue != nullptr; });
}

void Scheduler::at(nanoseconds time, std::string name, std::function<void()> callback)
{
    const auto [found, isNew] = chainsOfNames_.try_emplace(std::move(name), chains_);
    if (isNew)
        ++chains_;
    plan(time, {.time = time, .name = found->first, .chain = found->second, .callback = std::move(callback)});
}

void Scheduler::actAt(nanoseconds time, std::string name, std::function<void()> action)
{
    plan(time,
        {.time = time,
            .name = *namesOfActions_.insert(std::move(name)).first,
            .chain = chainOfActions_,
            .callback = std::move(action),
            .loop = &loopOf(mainThread)});
}

void Scheduler::spend(nanoseconds duration)
{
    if (isEnding_ || duration <= nanoseconds::zero())
        return;
    if (!running_) {
        runUntil(now_ + duration);
        return;
    }
    plan(now_ + duration,
        {.time = now_ + duration - running_->lateness,
            .name = running_->name,
            .chain = running_->chain,
            .task = running_});
    suspendTask();
}

std::unique_ptr<engine::OperationLock> Scheduler::makeOperationLock()
{
    return std::make_unique<Lock>(link_);
}

} // namespace tamsel::simulated
