#include <engine/dispatch/WorkerPool.h>

#include <engine/dispatch/startThread.h>

#include <algorithm>
#include <cassert>
#include <utility>

namespace tamsel::engine {

namespace {

constexpr int itemsPerTurn = 32;
constexpr int handedTurnsInARow = 16;
/// The longest time that devices are not polled while all workers are busy.
constexpr std::chrono::microseconds deviceInterval{500};

} // namespace

constinit thread_local WorkerPool::Worker* WorkerPool::currentWorker = nullptr;
constinit thread_local const WorkerPool* WorkerPool::currentPool = nullptr;

WorkerPool::WorkerPool(std::size_t workers)
    : baseWorkers_(std::clamp<std::size_t>(workers, 2, maximumWorkers)),
      ready_(*pollSet_, baseWorkers_),
      watch_([this] { return lookAfterWorkers(); })
{
}

bool WorkerPool::start()
{
    if (!isOpen() || !addWorker())
        return false;
    for (std::size_t index = 1; index < baseWorkers_ && addWorker(); ++index) { }
    watch_.start();
    return true;
}

void WorkerPool::stop()
{
    assert(currentPool != this && "the platform must not end on one of its own workers");
    watch_.stop();
    ready_.stop();
    std::vector<std::unique_ptr<Worker>> workers;
    {
        const MutexLock lock(workersGuard_);
        workers.swap(workers_);
    }
    for (const std::unique_ptr<Worker>& worker : workers)
        worker->thread.join();
    pollSet_->close();
    ready_.close();
}

/// False when the system has no thread left.
bool WorkerPool::addWorker()
{
    const MutexLock lock(workersGuard_);
    std::erase_if(workers_, [](const std::unique_ptr<Worker>& worker) {
        const bool isDone = worker->isDone;
        if (isDone)
            worker->thread.join();
        return isDone;
    });
    if (workers_.size() == maximumWorkers)
        return true;
    Worker& worker = *workers_.emplace_back(std::make_unique<Worker>());
    worker.thread = startThread([this, &worker] {
        currentWorker = &worker;
        currentPool = this;
        work(worker);
        currentPool = nullptr;
        worker.isDone = true;
    });
    if (worker.thread.joinable())
        return true;
    workers_.pop_back();
    return false;
}

void WorkerPool::scheduleNext(SerialQueue& queue)
{
    Worker* worker = currentPool == this ? currentWorker : nullptr;
    // With items behind this one, the turn does not end here: handing all of them over through the list is cheaper.
    if (worker != nullptr && worker->next == nullptr
        && (worker->running == nullptr || !worker->running->hasMore()))
        worker->next = &queue;
    else
        ready_.push(queue);
}

void WorkerPool::work(Worker& worker)
{
    bool isNeeded = true;
    while (isNeeded && !ready_.isStopping()) {
        if (!ready_.isAnybodyPolling())
            lookAtDevices(worker);
        if (SerialQueue* queue = nextQueue(worker))
            runQueue(worker, queue);
        else
            isNeeded = ready_.wait(worker.waiter, [this, &worker] { beginItem(worker); });
    }
    if (worker.next != nullptr)
        ready_.push(*worker.next);
    if (ready_.isStopping())
        ready_.wakeNextPoller();
}

SerialQueue* WorkerPool::nextQueue(Worker& worker)
{
    // After some turns a queue that was handed over goes to the end of the list, so that no queue starves.
    SerialQueue* queue = std::exchange(worker.next, nullptr);
    if (queue != nullptr && ++worker.turnsInARow <= handedTurnsInARow)
        return queue;
    worker.turnsInARow = 0;
    SerialQueue* oldest = ready_.take();
    if (oldest == nullptr)
        return queue;
    if (queue != nullptr)
        ready_.push(*queue);
    return oldest;
}

void WorkerPool::runQueue(Worker& worker, SerialQueue* queue)
{
    // Alive for the whole turn: an item may release the last reference to its own queue.
    const std::shared_ptr<SerialQueue> alive = queue->release();
    worker.running = queue;
    bool isReady = true;
    // A queue that was handed over must not wait for the items behind it.
    for (int items = 0; isReady && items < itemsPerTurn && worker.next == nullptr; ++items) {
        beginItem(worker);
        isReady = alive->run(1);
    }
    worker.running = nullptr;
    if (isReady) {
        alive->retain();
        ready_.push(*alive);
    }
}

void WorkerPool::beginItem(Worker& worker)
{
    worker.begunItems.store(worker.begunItems.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (!ready_.isAnybodyWaiting())
        watch_.begin();
}

/// No worker waits for the devices, so busy workers poll them between two turns.
void WorkerPool::lookAtDevices(Worker& worker)
{
    const auto now = std::chrono::steady_clock::now();
    if (now - worker.lookedAtDevices < deviceInterval)
        return;
    worker.lookedAtDevices = now;
    ready_.lookAtDevices();
}

/// Adds a worker when no item has begun since the last check. True while no worker waits.
bool WorkerPool::lookAfterWorkers()
{
    if (ready_.isAnybodyWaiting())
        return false;
    bool isHeldUp = false;
    {
        const MutexLock lock(workersGuard_);
        std::uint64_t items = 0;
        for (const std::unique_ptr<Worker>& worker : workers_)
            items += worker->begunItems.load(std::memory_order_relaxed);
        isHeldUp = std::exchange(seenItems_, items) == items;
    }
    if (isHeldUp)
        addWorker();
    return true;
}

} // namespace tamsel::engine
