#include <engine/dispatch/WorkerPool.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <utility>

namespace tamsel::engine {

namespace {

using namespace std::chrono_literals;

constexpr int itemsPerTurn = 32;
constexpr int slotTurnsInARow = 16;
constexpr auto watchInterval = 20ms;
constexpr int quietLooksBeforeSleep = 5;

} // namespace

thread_local WorkerPool::Worker* WorkerPool::currentWorker = nullptr;
thread_local const WorkerPool* WorkerPool::currentPool = nullptr;

WorkerPool::WorkerPool(std::size_t workers) : baseWorkers_(std::clamp<std::size_t>(workers, 2, maximumWorkers)) {}

WorkerPool::~WorkerPool() = default;

void WorkerPool::start()
{
    for (std::size_t index = 0; index < baseWorkers_; ++index)
        addWorker();
    watcher_ = std::thread([this] { watch(); });
}

void WorkerPool::stop()
{
    assert(currentPool != this && "the platform must not end on one of its own workers");
    isStopping_ = true;
    {
        const std::lock_guard lock(watcherGuard_);
        watcherWakes_.notify_one();
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
    worker.thread = std::thread([this, &worker] {
        currentWorker = &worker;
        currentPool = this;
        work(worker);
        --liveWorkers_;
        worker.isDone = true;
    });
}

void WorkerPool::schedule(SerialQueue& queue)
{
    if (currentPool == this && !isStopping_.load(std::memory_order_relaxed)) {
        if (SerialQueue* earlier = currentWorker->slot.exchange(&queue, std::memory_order_acq_rel))
            pushShared(*earlier);
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

SerialQueue* WorkerPool::nextQueue(Worker& worker, int& slotTurns)
{
    // After some turns the slot goes to the end of the shared list, so that nobody starves.
    SerialQueue* queue = worker.slot.exchange(nullptr, std::memory_order_acq_rel);
    if (queue != nullptr && ++slotTurns <= slotTurnsInARow)
        return queue;
    slotTurns = 0;
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
    int slotTurns = 0;
    while (!isStopping_.load(std::memory_order_relaxed)) {
        if (SerialQueue* queue = nextQueue(worker, slotTurns)) {
            runQueue(worker, queue);
            continue;
        }
        if (!waitForWork())
            return;
        worker.turns.fetch_add(1, std::memory_order_relaxed);
    }
    pollSet_->wake();
}

bool WorkerPool::waitForWork()
{
    // Announced first and looked at afterwards: whoever pushes in between sees an idle worker and wakes.
    const std::size_t idleBefore = idleWorkers_.fetch_add(1);
    bool mayWait = true;
    {
        const std::lock_guard lock(readyGuard_);
        mayWait = oldestReady_ == nullptr && !isStopping_;
    }
    if (mayWait && idleBefore >= baseWorkers_) {
        --idleWorkers_;
        return false; // enough others are idle
    }
    // The event is carried out inside the wait, so this worker must no longer count as idle by then: it is taken out
    // of the count by whichever comes first.
    if (mayWait) {
        if (pollSet_->wait([this] { idleWorkers_.fetch_sub(1); }))
            wakeIsUnderway_.exchange(false);
        if (readyCount_.load() > 1)
            wakeOne(); // the woken pass the wakes on, one at a time
    } else {
        --idleWorkers_;
    }
    if (!watcherIsAwake_.exchange(true)) {
        const std::lock_guard lock(watcherGuard_);
        watcherWakes_.notify_one();
    }
    return true;
}

void WorkerPool::watch()
{
    std::unique_lock lock(watcherGuard_);
    int quietLooks = 0;
    while (!isStopping_) {
        if (!watcherIsAwake_) {
            watcherWakes_.wait(lock, [this] { return watcherIsAwake_ || isStopping_; });
            quietLooks = 0;
        }
        watcherWakes_.wait_for(lock, watchInterval, [this] { return isStopping_.load(); });
        if (isStopping_)
            return;
        lock.unlock();
        quietLooks = lookAfterWorkers() ? 0 : quietLooks + 1;
        lock.lock();
        if (quietLooks >= quietLooksBeforeSleep)
            watcherIsAwake_ = false;
    }
}

bool WorkerPool::lookAfterWorkers()
{
    bool moved = false;
    bool isBusy = false;
    std::vector<SerialQueue*> stuck;
    {
        const std::lock_guard lock(workersGuard_);
        for (const std::unique_ptr<Worker>& worker : workers_) {
            const std::uint64_t turns = worker->turns.load(std::memory_order_relaxed);
            SerialQueue* slot = worker->slot.load(std::memory_order_relaxed);
            const bool stood = turns == worker->seenTurns;
            moved = moved || !stood;
            isBusy = isBusy || slot != nullptr;
            // Held up inside an item that has already handed something over.
            if (stood && slot != nullptr && slot == worker->seenSlot
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
    const bool nobodyWaits = idleWorkers_ == 0;
    if (nobodyWaits && !moved && liveWorkers_ < maximumWorkers)
        addWorker(); // nobody is left for the devices or for other queues
    return moved || isBusy || nobodyWaits || readyCount_ > 0;
}

} // namespace tamsel::engine
