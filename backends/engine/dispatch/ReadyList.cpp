#include <engine/dispatch/ReadyList.h>

#include <engine/dispatch/parking.h>

#include <thread>
#include <utility>

namespace tamsel::engine {

namespace {

constexpr std::size_t maximumPollers = 2;
constexpr std::chrono::microseconds spinLimit{10};
constexpr int pausesBetweenYields = 16;

void pauseProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace

void ReadyList::push(SerialQueue& queue)
{
    queue.nextReady = nullptr;
    Wake wake;
    bool isClosed = false;
    {
        const MutexLock lock(guard_);
        isClosed = isClosed_;
        if (!isClosed) {
            (newest_ != nullptr ? newest_->nextReady : oldest_) = &queue;
            newest_ = &queue;
            count_.fetch_add(1);
            // A spinning worker checks this list at the end of its spin.
            if (!isSpinning_ && !wakeIsUnderway_)
                wake = chooseWake();
        }
    }
    if (isClosed)
        queue.release()->discard();
    else
        carryOut(wake);
}

SerialQueue* ReadyList::take()
{
    if (count_.load(std::memory_order_relaxed) == 0)
        return nullptr;
    const MutexLock lock(guard_);
    SerialQueue* queue = oldest_;
    if (queue == nullptr)
        return nullptr;
    oldest_ = queue->nextReady;
    if (oldest_ == nullptr)
        newest_ = nullptr;
    count_.fetch_sub(1);
    return queue;
}

ReadyList::Place ReadyList::enter(Waiter& waiter)
{
    const MutexLock lock(guard_);
    if (oldest_ != nullptr || isStopping_)
        return Place::notNeeded;
    if (waiters_ >= maximumWaiters_)
        return Place::none;
    waiters_.fetch_add(1);
    if (pollers_ < maximumPollers) {
        pollers_.fetch_add(1);
        return Place::poll;
    }
    waiter.isWoken.store(0, std::memory_order_relaxed);
    parked_.push_back(&waiter);
    return Place::parked;
}

void ReadyList::park(Waiter& waiter)
{
    sleepWhileZero(waiter.isWoken);
}

/// True when there is something to take.
bool ReadyList::spin()
{
    if (isSpinning_.exchange(true))
        return false;
    const auto end = std::chrono::steady_clock::now() + spinLimit;
    while (count_.load(std::memory_order_relaxed) == 0 && !isStopping()
        && std::chrono::steady_clock::now() < end) {
        for (int pauses = 0; pauses < pausesBetweenYields && count_.load(std::memory_order_relaxed) == 0;
            ++pauses)
            pauseProcessor();
        std::this_thread::yield(); // to a posting thread on the same processor
    }
    isSpinning_.store(false);
    if (count_.load() == 0)
        return false;
    passWakeOn(false);
    return true;
}

/// Before the event is handled: this worker no longer waits by then, and another one takes its place.
void ReadyList::leavePoll()
{
    Wake wake;
    {
        const MutexLock lock(guard_);
        waiters_.fetch_sub(1);
        if (pollers_.fetch_sub(1) == 1 && !parked_.empty())
            wake = chooseWake();
    }
    carryOut(wake);
}

/// Called by a worker that takes the next ready queue: wakes another one if more queues are ready, or if no other
/// worker would poll the devices.
void ReadyList::passWakeOn(bool wasWoken)
{
    Wake wake;
    {
        const MutexLock lock(guard_);
        if (wasWoken)
            wakeIsUnderway_ = false;
        const bool mustPoll = pollers_ == 0 && !parked_.empty() && count_ > 0;
        if (mustPoll || (count_ > 1 && !wakeIsUnderway_))
            wake = chooseWake();
    }
    carryOut(wake);
}

ReadyList::Wake ReadyList::chooseWake()
{
    Wake wake;
    if (!parked_.empty()) {
        wake.parked = parked_.back();
        parked_.pop_back();
        waiters_.fetch_sub(1);
    } else {
        wake.isForPoller = pollers_ > 0;
    }
    wakeIsUnderway_ = wake.parked != nullptr || wake.isForPoller;
    return wake;
}

void ReadyList::carryOut(Wake wake)
{
    if (wake.parked != nullptr)
        setAndWake(wake.parked->isWoken);
    else if (wake.isForPoller)
        pollSet_.wake();
}

void ReadyList::lookAtDevices()
{
    if (pollSet_.wait(PollSet::atOnce, [] { }))
        passWakeOn(true);
}

void ReadyList::stop()
{
    std::vector<Waiter*> parked;
    {
        const MutexLock lock(guard_);
        isStopping_ = true;
        parked.swap(parked_);
        waiters_.fetch_sub(parked.size());
    }
    for (Waiter* waiter : parked)
        setAndWake(waiter->isWoken);
    wakeNextPoller();
}

void ReadyList::close()
{
    {
        const MutexLock lock(guard_);
        isClosed_ = true;
    }
    while (SerialQueue* queue = take())
        queue->release()->discard();
}

} // namespace tamsel::engine
