// How the pool looks after what items that go on for long hold up.

#include <engine/dispatch/WorkerPool.h>

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace tamsel::engine {

namespace {

using namespace std::chrono_literals;

constexpr auto shortestWatch = 8ms;
/// Frames that flow see to what stands by themselves: whoever runs out of work frees it. This is for when they do not.
constexpr auto longestWatch = 1024ms;
/// All workers inside items for so long, and one more is started.
constexpr auto heldUpLimit = 10ms;

} // namespace

/// Starts the watcher's timer, if need be with a shorter time.
void WorkerPool::keepWatch(bool isUrgent)
{
    const MutexLock lock(watchGuard_);
    if (isStopping_ || (isWatching_ && (!isUrgent || isWatchUrgent_)))
        return;
    isWatching_ = true;
    isWatchUrgent_ = isUrgent;
    setWatchTimer(shortestWatch);
}

void WorkerPool::setWatchTimer(std::chrono::nanoseconds delay) const
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(delay);
    const itimerspec value{
        .it_interval = {}, .it_value = {.tv_sec = whole.count(), .tv_nsec = (delay - whole).count()}};
    timerfd_settime(watchTimer_, 0, &value, nullptr);
}

void WorkerPool::watch()
{
    std::chrono::nanoseconds delay = shortestWatch;
    for (;;) {
        std::uint64_t expirations = 0;
        [[maybe_unused]] const ssize_t consumed = ::read(watchTimer_, &expirations, sizeof expirations);
        if (isStopping_)
            return;
        // Seldom while everything moves, soon again when something seems to stand.
        const bool stands = lookAfterWorkers();
        delay = stands ? shortestWatch : std::min<std::chrono::nanoseconds>(delay * 4, longestWatch);
        const MutexLock lock(watchGuard_);
        if (isStopping_)
            return;
        isWatchUrgent_ = stands;
        // Said first and looked at afterwards: whoever begins something in between begins a new watch.
        isWatching_ = false;
        if (needsWatch()) {
            isWatching_ = true;
            setWatchTimer(delay);
        }
    }
}

bool WorkerPool::nobodyWaits()
{
    const MutexLock lock(readyGuard_);
    return pollers_ == 0 && parked_.empty();
}

/// Whether anything has happened since the last look or may come to stand.
bool WorkerPool::needsWatch()
{
    if (nobodyWaits())
        return true;
    const MutexLock lock(workersGuard_);
    return std::ranges::any_of(workers_, [](const std::unique_ptr<Worker>& worker) {
        return worker->slot.load() != nullptr || worker->turns.load() != worker->lastTurns;
    });
}

/// True when something stands still that another look should see to.
bool WorkerPool::lookAfterWorkers()
{
    bool anyMoved = false;
    bool anySlotStands = false;
    {
        const MutexLock lock(workersGuard_);
        for (const std::unique_ptr<Worker>& worker : workers_) {
            const std::uint64_t turns = worker->turns.load();
            const bool stands = turns == worker->seenTurns;
            anyMoved = anyMoved || !stands;
            anySlotStands = anySlotStands || (stands && worker->slot.load() != nullptr);
            worker->lastTurns = std::exchange(worker->seenTurns, turns);
        }
    }
    freeStandingSlots();
    const auto now = std::chrono::steady_clock::now();
    const bool isHeldUp = !anyMoved && nobodyWaits();
    if (!isHeldUp) {
        lastMoved_ = now;
    } else if (now - lastMoved_ >= heldUpLimit && liveWorkers_ < maximumWorkers) {
        addWorker();
        lastMoved_ = now;
    }
    return anySlotStands || isHeldUp;
}

} // namespace tamsel::engine
