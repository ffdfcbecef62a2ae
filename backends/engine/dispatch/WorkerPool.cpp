#include <engine/dispatch/WorkerPool.h>

#include <engine/dispatch/parking.h>
#include <engine/dispatch/startThread.h>

#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <utility>

namespace tamsel::engine {

namespace {

using namespace std::chrono_literals;

constexpr int itemsPerTurn = 32;
constexpr int slotTurnsInARow = 16;
constexpr int itemsBetweenLooks = 8;
constexpr auto lingering = 2ms;
constexpr std::size_t maximumPollers = 2;
constexpr auto spinLimit = 30us;
constexpr int pausesBetweenYields = 16;
constexpr auto shortRest = 60us;
/// How long the devices may go unread while all workers are busy.
constexpr auto deviceInterval = 500us;

/// Good to some milliseconds and much cheaper than the exact one.
std::chrono::nanoseconds coarseNow()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void pauseProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

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

bool WorkerPool::start()
{
    if (!isOpen() || !addWorker())
        return false;
    watcher_ = startThread([this] { watch(); });
    hasWatcher_ = watcher_.joinable();
    for (std::size_t index = 1; index < baseWorkers_ && addWorker(); ++index) { }
    keepWatch(true); // nobody waits for the devices yet
    return true;
}

void WorkerPool::stop()
{
    assert(currentPool != this && "the platform must not end on one of its own workers");
    isStopping_ = true;
    {
        const MutexLock lock(watchGuard_);
        setWatchTimer(1ns);
    }
    if (watcher_.joinable())
        watcher_.join();
    std::vector<Worker*> parked;
    {
        const MutexLock lock(readyGuard_);
        parked.swap(parked_);
    }
    for (Worker* worker : parked)
        carryOut({.parked = worker});
    pollSet_->wake(); // each worker that leaves wakes the next
    for (const std::unique_ptr<Worker>& worker : workers_)
        worker->thread.join();
    pollSet_->close();
    for (const std::unique_ptr<Worker>& worker : workers_) {
        if (SerialQueue* queue = worker->slot.exchange(nullptr))
            pushShared(*queue);
    }
    {
        const MutexLock lock(readyGuard_);
        isClosed_ = true;
    }
    while (SerialQueue* queue = takeShared())
        queue->release()->discard();
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
    Worker& worker = *workers_.emplace_back(std::make_unique<Worker>());
    ++liveWorkers_;
    worker.thread = startThread([this, &worker] {
        currentWorker = &worker;
        currentPool = this;
        work(worker);
        currentPool = nullptr;
        --liveWorkers_;
        worker.isDone = true;
    });
    if (worker.thread.joinable())
        return true;
    --liveWorkers_;
    workers_.pop_back();
    return false;
}

void WorkerPool::schedule(SerialQueue& queue)
{
    if (currentPool != this || isStopping_.load(std::memory_order_relaxed)
        || !hasWatcher_.load(std::memory_order_relaxed)) {
        pushShared(queue);
        return;
    }
    Worker& worker = *currentWorker;
    // What a device's call hands over is its last act.
    using HandOver = SerialQueue::HandOver;
    const HandOver how = worker.running != nullptr ? worker.running->nextHandOver() : HandOver::trusted;
    if (how == HandOver::byAnother) {
        pushShared(queue);
        return;
    }
    worker.slotSince.store(coarseNow(), std::memory_order_relaxed);
    if (SerialQueue* earlier = worker.slot.exchange(&queue))
        pushShared(*earlier);
    const bool isUrgent = how == HandOver::watched;
    if (!isWatching_.load() || (isUrgent && !isWatchUrgent_.load()))
        keepWatch(isUrgent);
}

void WorkerPool::pushShared(SerialQueue& queue)
{
    queue.nextReady = nullptr;
    Wake wake;
    bool isClosed = false;
    {
        const MutexLock lock(readyGuard_);
        isClosed = isClosed_;
        if (!isClosed) {
            (newestReady_ != nullptr ? newestReady_->nextReady : oldestReady_) = &queue;
            newestReady_ = &queue;
            readyCount_.fetch_add(1);
            // A spinning worker ends its spin with a look at this list.
            if (!isSpinning_.load() && !wakeIsUnderway_)
                wake = chooseWake();
        }
    }
    if (isClosed)
        queue.release()->discard();
    else
        carryOut(wake);
}

SerialQueue* WorkerPool::takeShared()
{
    if (readyCount_.load(std::memory_order_relaxed) == 0)
        return nullptr;
    const MutexLock lock(readyGuard_);
    SerialQueue* queue = oldestReady_;
    if (queue == nullptr)
        return nullptr;
    oldestReady_ = queue->nextReady;
    if (oldestReady_ == nullptr)
        newestReady_ = nullptr;
    readyCount_.fetch_sub(1);
    return queue;
}

/// Under the guard.
WorkerPool::Wake WorkerPool::chooseWake()
{
    Wake wake;
    if (!parked_.empty()) {
        wake.parked = parked_.back();
        parked_.pop_back();
    } else {
        wake.isForPoller = pollers_ > 0;
    }
    wakeIsUnderway_ = wake.parked != nullptr || wake.isForPoller;
    return wake;
}

void WorkerPool::carryOut(Wake wake)
{
    if (wake.parked != nullptr) {
        setAndWake(wake.parked->isWoken);
    } else if (wake.isForPoller) {
        pollSet_->wake();
    }
}

/// By a worker that has stopped waiting and takes what is ready next: wakes another one if there is more than that, or if
/// nobody else would wait for the devices.
void WorkerPool::passWakeOn(bool wasWoken)
{
    Wake wake;
    {
        const MutexLock lock(readyGuard_);
        if (wasWoken)
            wakeIsUnderway_ = false;
        const bool mustPoll = pollers_ == 0 && !parked_.empty() && readyCount_ > 0;
        if (mustPoll || (readyCount_ > 1 && !wakeIsUnderway_))
            wake = chooseWake();
    }
    carryOut(wake);
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

/// Whether an item, or more of the same turn, have gone on for long after a hand-over.
bool WorkerPool::lingers(const Worker& worker)
{
    const std::chrono::nanoseconds since = worker.slotSince.load(std::memory_order_relaxed);
    return since.count() != 0 && coarseNow() - since > lingering;
}

/// Takes what workers hold up, for those that have nothing else to do. True when there was any.
bool WorkerPool::freeStandingSlots()
{
    std::array<SerialQueue*, maximumWorkers> standing{};
    std::size_t count = 0;
    if (workersGuard_.tryLock()) {
        for (const std::unique_ptr<Worker>& worker : workers_) {
            SerialQueue* slot = worker->slot.load(std::memory_order_acquire);
            if (slot != nullptr && lingers(*worker)
                && worker->slot.compare_exchange_strong(slot, nullptr, std::memory_order_acq_rel))
                standing[count++] = slot;
        }
        workersGuard_.unlock();
    }
    for (std::size_t index = 0; index < count; ++index)
        pushShared(*standing[index]);
    return count > 0;
}

void WorkerPool::runQueue(Worker& worker, SerialQueue* queue)
{
    worker.turns.fetch_add(1);
    worker.slotSince.store({}, std::memory_order_relaxed);
    worker.running = queue;
    // Alive for the whole turn: an item may drop the last reference to its own queue.
    const std::shared_ptr<SerialQueue> alive = queue->release();
    bool isReady = true;
    bool isLate = false;
    for (int items = 0; isReady && !isLate && items < itemsPerTurn; items += itemsBetweenLooks) {
        isReady = alive->run(itemsBetweenLooks);
        isLate = lingers(worker);
    }
    if (isLate)
        alive->noteEarlyHandOver();
    worker.running = nullptr;
    if (isReady) {
        alive->retain();
        pushShared(*alive);
    }
}

void WorkerPool::work(Worker& worker)
{
    while (!isStopping_.load(std::memory_order_relaxed)) {
        if (pollers_.load(std::memory_order_relaxed) == 0)
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
    // Spinning pays while work comes in quick succession; at the pace of frames it never does.
    if (worker.lastRestWasShort && spin())
        return true;
    if (freeStandingSlots())
        return true;
    bool isPolling = false;
    {
        const MutexLock lock(readyGuard_);
        if (oldestReady_ != nullptr || isStopping_)
            return true;
        if (parked_.size() + pollers_ >= baseWorkers_)
            return false; // enough others wait
        isPolling = pollers_ < maximumPollers;
        if (isPolling) {
            pollers_.fetch_add(1);
        } else {
            worker.isWoken.store(0, std::memory_order_relaxed);
            parked_.push_back(&worker);
        }
    }
    const auto begin = std::chrono::steady_clock::now();
    bool wasWoken = true;
    if (isPolling) {
        // A source's event is carried out inside the wait, and this worker must no longer count as waiting by then.
        wasWoken = pollSet_->wait(PollSet::forEver, [this, &worker] { leavePollSet(worker); });
    } else {
        sleepWhileZero(worker.isWoken);
        worker.turns.fetch_add(1);
        if (!isWatching_.load())
            keepWatch(false);
    }
    worker.lastRestWasShort = wasWoken && std::chrono::steady_clock::now() - begin < shortRest;
    if (wasWoken)
        passWakeOn(true);
    return true;
}

/// True when there is something to take.
bool WorkerPool::spin()
{
    if (isSpinning_.exchange(true))
        return false;
    const auto end = std::chrono::steady_clock::now() + spinLimit;
    while (readyCount_.load(std::memory_order_relaxed) == 0 && !isStopping_.load(std::memory_order_relaxed)
        && std::chrono::steady_clock::now() < end) {
        for (int pauses = 0; pauses < pausesBetweenYields && readyCount_.load(std::memory_order_relaxed) == 0;
            ++pauses)
            pauseProcessor();
        std::this_thread::yield(); // to whoever would post, on the same processor
    }
    isSpinning_.store(false);
    if (readyCount_.load() == 0)
        return false;
    passWakeOn(false);
    return true;
}

void WorkerPool::leavePollSet(Worker& worker)
{
    worker.turns.fetch_add(1);
    Wake wake;
    bool isLast = false;
    {
        const MutexLock lock(readyGuard_);
        isLast = pollers_.fetch_sub(1) == 1;
        if (isLast && !parked_.empty())
            wake = chooseWake();
    }
    carryOut(wake);
    const bool isUrgent = isLast && wake.parked == nullptr;
    if (!isWatching_.load() || (isUrgent && !isWatchUrgent_.load()))
        keepWatch(isUrgent);
}

/// Nobody waits on the poll set, so those who are busy look at it between two turns.
void WorkerPool::lookAtDevices(Worker& worker)
{
    const auto now = std::chrono::steady_clock::now();
    if (now - worker.lookedAtDevices < deviceInterval)
        return;
    worker.lookedAtDevices = now;
    if (pollSet_->wait(PollSet::atOnce, [] { }))
        passWakeOn(true);
}

} // namespace tamsel::engine
