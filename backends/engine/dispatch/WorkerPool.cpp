#include <engine/dispatch/WorkerPool.h>

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <system_error>
#include <utility>

namespace tamsel::engine {

namespace {

using namespace std::chrono_literals;

constexpr int itemsPerTurn = 32;
constexpr int slotTurnsInARow = 16;
/// How long the devices may go unread while all workers are busy.
constexpr auto deviceInterval = 500us;
constexpr auto shortestWatch = 1ms;
constexpr auto longestWatch = 16ms;
/// All workers inside items for so long, and one more is started.
constexpr auto heldUpLimit = 10ms;

} // namespace

constinit thread_local WorkerPool::Worker* WorkerPool::currentWorker = nullptr;
constinit thread_local const WorkerPool* WorkerPool::currentPool = nullptr;

WorkerPool::WorkerPool(std::size_t workers)
    : baseWorkers_(std::clamp<std::size_t>(workers, 2, maximumWorkers)),
      watchTimer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC))
{
}

WorkerPool::~WorkerPool()
{
    ::close(watchTimer_);
}

void WorkerPool::start()
{
    for (std::size_t index = 0; index < baseWorkers_; ++index)
        addWorker();
    watcher_ = std::thread([this] { watch(); });
    beginWatch(); // nobody is idle yet
}

void WorkerPool::stop()
{
    assert(currentPool != this && "the platform must not end on one of its own workers");
    isStopping_ = true;
    {
        const std::lock_guard lock(watchGuard_);
        setWatchTimer(1ns);
    }
    watcher_.join();
    pollSet_->wake(); // each worker that leaves wakes the next
    for (const std::unique_ptr<Worker>& worker : workers_)
        worker->thread.join();
    pollSet_->close();
    for (const std::unique_ptr<Worker>& worker : workers_) {
        if (SerialQueue* queue = worker->slot.exchange(nullptr))
            pushShared(*queue);
    }
    {
        const std::lock_guard lock(readyGuard_);
        isClosed_ = true;
    }
    while (SerialQueue* queue = takeShared())
        queue->release()->discard();
}

void WorkerPool::addWorker()
{
    const std::lock_guard lock(workersGuard_);
    std::erase_if(workers_, [](const std::unique_ptr<Worker>& worker) {
        const bool isDone = worker->isDone;
        if (isDone)
            worker->thread.join();
        return isDone;
    });
    Worker& worker = *workers_.emplace_back(std::make_unique<Worker>());
    ++liveWorkers_;
    try {
        worker.thread = std::thread([this, &worker] {
            currentWorker = &worker;
            currentPool = this;
            work(worker);
            currentPool = nullptr;
            --liveWorkers_;
            worker.isDone = true;
        });
    } catch (const std::system_error&) {
        // The system is out of threads: go on with those that there are.
        --liveWorkers_;
        workers_.pop_back();
    }
}

void WorkerPool::schedule(SerialQueue& queue)
{
    if (currentPool == this && !isStopping_.load(std::memory_order_relaxed)) {
        if (SerialQueue* earlier = currentWorker->slot.exchange(&queue))
            pushShared(*earlier);
        if (!isWatching_.load())
            beginWatch();
        return;
    }
    pushShared(queue);
}

void WorkerPool::pushShared(SerialQueue& queue)
{
    queue.nextReady = nullptr;
    bool isClosed = false;
    {
        const std::lock_guard lock(readyGuard_);
        isClosed = isClosed_;
        if (!isClosed) {
            (newestReady_ != nullptr ? newestReady_->nextReady : oldestReady_) = &queue;
            newestReady_ = &queue;
            readyCount_.fetch_add(1, std::memory_order_relaxed);
        }
    }
    if (!isClosed)
        wakeOne();
    else
        queue.release()->discard();
}

SerialQueue* WorkerPool::takeShared()
{
    if (readyCount_.load(std::memory_order_relaxed) == 0)
        return nullptr;
    const std::lock_guard lock(readyGuard_);
    SerialQueue* queue = oldestReady_;
    if (queue == nullptr)
        return nullptr;
    oldestReady_ = queue->nextReady;
    if (oldestReady_ == nullptr)
        newestReady_ = nullptr;
    readyCount_.fetch_sub(1, std::memory_order_relaxed);
    return queue;
}

void WorkerPool::wakeOne()
{
    if (idleWorkers_.load() > 0 && !wakeIsUnderway_.exchange(true))
        pollSet_->wake();
}

SerialQueue* WorkerPool::nextQueue(Worker& worker)
{
    // After some turns the slot goes to the end of the shared list, so that nobody starves.
    SerialQueue* queue = worker.slot.exchange(nullptr, std::memory_order_acq_rel);
    if (queue != nullptr && ++worker.slotTurns <= slotTurnsInARow)
        return queue;
    worker.slotTurns = 0;
    SerialQueue* shared = takeShared();
    if (shared == nullptr)
        return queue;
    if (queue != nullptr)
        pushShared(*queue);
    return shared;
}

void WorkerPool::runQueue(Worker& worker, SerialQueue* queue)
{
    worker.turns.fetch_add(1, std::memory_order_relaxed);
    // Alive for the whole turn: an item may drop the last reference to its own queue.
    const std::shared_ptr<SerialQueue> alive = queue->release();
    if (alive->run(itemsPerTurn)) {
        alive->retain();
        pushShared(*alive);
    }
}

void WorkerPool::work(Worker& worker)
{
    while (!isStopping_.load(std::memory_order_relaxed)) {
        if (idleWorkers_.load(std::memory_order_relaxed) == 0)
            lookAtDevices(worker);
        if (SerialQueue* queue = nextQueue(worker))
            runQueue(worker, queue);
        else if (!waitForWork(worker))
            return;
    }
    pollSet_->wake();
}

bool WorkerPool::waitForWork(Worker& worker)
{
    // Announced first and looked at afterwards: whoever pushes in between sees an idle worker and wakes.
    const std::size_t idleBefore = idleWorkers_.fetch_add(1);
    const auto leaveIdle = [&] {
        worker.turns.fetch_add(1, std::memory_order_relaxed);
        if (idleWorkers_.fetch_sub(1) == 1 && !isWatching_.load())
            beginWatch(); // nobody is left for the devices
    };
    bool mayWait = true;
    {
        const std::lock_guard lock(readyGuard_);
        mayWait = oldestReady_ == nullptr && !isStopping_;
    }
    if (!mayWait) {
        leaveIdle();
        return true;
    }
    if (idleBefore >= baseWorkers_) {
        leaveIdle();
        return false; // enough others are idle
    }
    if (idleBefore + 1 == liveWorkers_.load(std::memory_order_relaxed)
        && isWatching_.load(std::memory_order_relaxed))
        endWatchIfAllIdle();
    // A source's event is carried out inside the wait, and this worker must no longer count as idle by then.
    if (pollSet_->wait(PollSet::forEver, leaveIdle))
        wakeIsUnderway_.exchange(false);
    if (readyCount_.load() > 1)
        wakeOne(); // the woken pass the wakes on, one at a time
    return true;
}

/// Nobody waits on the poll set, so those who are busy look at it between two turns.
void WorkerPool::lookAtDevices(Worker& worker)
{
    const auto now = std::chrono::steady_clock::now();
    if (now - worker.lookedAtDevices < deviceInterval)
        return;
    worker.lookedAtDevices = now;
    if (pollSet_->wait(PollSet::atOnce, [] { })) {
        wakeIsUnderway_.exchange(false);
        // This worker may have other things to do first.
        if (readyCount_.load() > 0)
            wakeOne();
    }
}

void WorkerPool::beginWatch()
{
    const std::lock_guard lock(watchGuard_);
    if (!isWatching_.exchange(true) && !isStopping_)
        setWatchTimer(shortestWatch);
}

void WorkerPool::endWatchIfAllIdle()
{
    const std::lock_guard lock(watchGuard_);
    if (!isWatching_ || isStopping_)
        return;
    // Said first and looked at afterwards: whoever leaves idleness in between begins a new watch.
    isWatching_ = false;
    if (idleWorkers_.load() != liveWorkers_.load())
        isWatching_ = true;
    else
        setWatchTimer(0ns);
}

void WorkerPool::setWatchTimer(std::chrono::nanoseconds delay) const
{
    const itimerspec value{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = delay.count()}};
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
        delay = lookAfterWorkers() ? std::min<std::chrono::nanoseconds>(delay * 2, longestWatch)
                                   : shortestWatch;
        const std::lock_guard lock(watchGuard_);
        if (isStopping_)
            return;
        isWatching_ = false;
        if (needsWatch()) {
            isWatching_ = true;
            setWatchTimer(delay);
        } else {
            delay = shortestWatch;
        }
    }
}

bool WorkerPool::needsWatch()
{
    if (idleWorkers_.load() == 0)
        return true;
    const std::lock_guard lock(workersGuard_);
    return std::ranges::any_of(workers_, [](const auto& worker) { return worker->slot.load() != nullptr; });
}

/// False when a slot seems to stand still, so that a second look is due soon.
bool WorkerPool::lookAfterWorkers()
{
    bool anyMoved = false;
    bool anySlotStands = false;
    std::vector<SerialQueue*> stuck;
    {
        const std::lock_guard lock(workersGuard_);
        for (const std::unique_ptr<Worker>& worker : workers_) {
            const std::uint64_t turns = worker->turns.load(std::memory_order_relaxed);
            SerialQueue* slot = worker->slot.load();
            const bool stands = turns == worker->seenTurns;
            anyMoved = anyMoved || !stands;
            anySlotStands = anySlotStands || (stands && slot != nullptr);
            // An item has handed something over and goes on.
            if (stands && slot != nullptr && slot == worker->seenSlot
                && worker->slot.compare_exchange_strong(slot, nullptr, std::memory_order_acq_rel)) {
                stuck.push_back(slot);
                slot = nullptr;
            }
            worker->seenTurns = turns;
            worker->seenSlot = slot;
        }
    }
    for (SerialQueue* queue : stuck)
        pushShared(*queue);
    const auto now = std::chrono::steady_clock::now();
    if (anyMoved || idleWorkers_ > 0) {
        lastMoved_ = now;
    } else if (now - lastMoved_ >= heldUpLimit && liveWorkers_ < maximumWorkers) {
        addWorker();
        lastMoved_ = now;
    }
    return !anySlotStands;
}

} // namespace tamsel::engine
