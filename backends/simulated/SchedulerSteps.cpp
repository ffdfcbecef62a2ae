// What runs next, and when.

#include <simulated/SchedulerParts.h>

#include <engine/dispatch/callback.h>

#include <algorithm>
#include <cassert>
#include <utility>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

namespace {

constexpr std::size_t maximumStepsAtOnce = 100'000;

} // namespace

nanoseconds Scheduler::lateness(const Event& event) const
{
    nanoseconds proper = event.time;
    if (event.queue)
        proper = std::max(proper, event.queue->properEnd);
    if (event.loop)
        proper = std::max(proper, event.loop->properEnd);
    return now_ - proper;
}

bool Scheduler::step()
{
    assert(!running_ && "the scheduler is driven from outside of its items");
    if (isStuck_)
        return false;
    collectDue();
    candidates_.clear();
    for (std::size_t index = 0; index < ready_.size(); ++index) {
        const Event& event = ready_[index];
        const auto isSameChain = [&](const Event& older) { return older.chain == event.chain; };
        if (event.waitsUntil <= now_ && (event.task || !event.loop || !event.loop->isBusy)
            && std::none_of(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(index), isSameChain))
            candidates_.push_back(index);
    }
    if (candidates_.empty())
        return false;
    guardRest(ready_[candidates_.front()].name);
    isStuck_ = true; // if it throws
    const std::size_t choice = choose();
    isStuck_ = false;
    if (choice < candidates_.size()) {
        const auto chosen = ready_.begin() + static_cast<std::ptrdiff_t>(candidates_[choice]);
        Event event = std::move(*chosen);
        ready_.erase(chosen);
        run(std::move(event));
    } else {
        for (const std::size_t index : candidates_)
            ready_[index].waitsUntil = later_[choice - candidates_.size()];
    }
    return true;
}

std::size_t Scheduler::choose()
{
    const ChoiceRules& rules = chooser_->rules();
    if (now_ < rules.from || now_ >= rules.until)
        return 0;
    offered_.clear();
    nanoseconds latest = std::min(window_, rules.until);
    for (const std::size_t index : candidates_) {
        offered_.push_back({ready_[index].name, ready_[index].chain});
        latest = std::min(latest, now_ - lateness(ready_[index]) + rules.lateBy);
    }
    later_.clear();
    if (latest > now_) {
        if (const nanoseconds next = nextTime(); next < latest)
            later_.push_back(next);
        later_.push_back(latest);
    }
    return chooser_->choose({.now = now_, .ready = offered_, .later = later_});
}

/// Called with the name of an event that runs, or with none when the scenario continues without any.
void Scheduler::guardRest(std::string_view name)
{
    stepsAtOnce_ = std::exchange(lastStep_, now_) == now_ ? stepsAtOnce_ + 1 : 0;
    const bool isHeldUp = stepsAtOnce_ > maximumStepsAtOnce;
    if (isStuck_ || (!isHeldUp && now_ <= chooser_->rules().restBy))
        return;
    isStuck_ = true;
    throw ScenarioError(
        std::string(isHeldUp ? "no rest: time does not pass any more" : "no rest until the end of the time")
        + (name.empty() ? ", and nothing runs" : ", and \"" + std::string(name) + "\" runs"));
}

void Scheduler::run(Event event)
{
    if (event.task) {
        event.task->lateness = lateness(event);
        resume(*event.task);
    } else if (event.queue) {
        platform::WorkItem item = std::move(event.queue->items.front().work);
        event.queue->items.pop_front();
        event.queue->isOccupied = true;
        begin(std::move(event), [item = std::move(item)]() mutable { item(); });
    } else {
        auto callback = std::move(event.callback);
        begin(std::move(event), std::move(callback));
    }
}

nanoseconds Scheduler::nextTime() const
{
    nanoseconds next = nanoseconds::max();
    if (!plans_.empty())
        next = plans_.begin()->first;
    for (const Event& event : ready_) {
        if (event.waitsUntil > now_)
            next = std::min(next, event.waitsUntil);
    }
    return next;
}

bool Scheduler::advanceToNext(nanoseconds limit)
{
    collectDue();
    const nanoseconds next = nextTime();
    if (isStuck_ || next == nanoseconds::max() || next > limit)
        return false;
    now_ = next;
    return true;
}

bool Scheduler::runUntil(nanoseconds time, const std::function<bool()>& condition)
{
    const nanoseconds outer = std::exchange(window_, time);
    bool isMet = false;
    while (!(isMet = condition && condition()) && (step() || advanceToNext(time))) { }
    window_ = outer;
    if (!isMet) {
        now_ = std::max(now_, time);
        guardRest({});
    }
    return isMet;
}

void Scheduler::begin(Event event, std::move_only_function<void()> body)
{
    Task& task = *tasks_.emplace_back(std::make_unique<Task>());
    if (idleFibers_.empty()) {
        task.fiber = std::make_unique<Fiber>();
    } else {
        task.fiber = std::move(idleFibers_.back());
        idleFibers_.pop_back();
    }
    task.thread = event.loop ? event.loop->thread : workerThread;
    task.lateness = lateness(event);
    task.queue = std::move(event.queue);
    task.loop = event.loop;
    task.name = event.name;
    task.chain = event.chain;
    if (task.loop)
        task.loop->isBusy = true;
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
    if (task.loop) {
        task.loop->isBusy = false;
        task.loop->properEnd = now_ - task.lateness;
    }
    if (task.queue) {
        task.queue->isOccupied = false;
        task.queue->properEnd = now_ - task.lateness;
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
