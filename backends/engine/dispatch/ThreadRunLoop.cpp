#include <engine/dispatch/ThreadRunLoop.h>

#include <engine/dispatch/callback.h>
#include <engine/dispatch/monotonicNow.h>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <utility>

namespace tamsel::engine {

namespace {

constexpr int itemsPerTurn = 64;
constexpr std::chrono::nanoseconds pause = std::chrono::milliseconds(10);
constexpr std::chrono::nanoseconds never = std::chrono::nanoseconds::max();

void addToPoll(int pollDescriptor, int descriptor)
{
    epoll_event event{.events = EPOLLIN, .data = {.fd = descriptor}};
    epoll_ctl(pollDescriptor, EPOLL_CTL_ADD, descriptor, &event);
}

} // namespace

class ThreadRunLoop::LoopTimer final : public platform::Timer {
public:
    LoopTimer(std::chrono::nanoseconds interval, bool repeats, std::function<void(platform::Timer&)> block)
        : interval_(std::max(interval, std::chrono::nanoseconds{1})),
          repeats_(repeats),
          due_(monotonicNow() + interval_),
          block_(std::move(block))
    {
    }

    void invalidate() override
    {
        isValid_ = false;
        if (!isFiring_)
            std::exchange(block_, nullptr); // may hold the last reference to this timer
    }
    [[nodiscard]] bool isValid() const override { return isValid_; }
    [[nodiscard]] std::chrono::nanoseconds due() const { return due_; }

    /// Also false inside its own block, so a nested loop does not enter the block again.
    [[nodiscard]] bool isDue(std::chrono::nanoseconds now) const
    {
        return isValid_ && !isFiring_ && due_ <= now;
    }

    void fire(std::chrono::nanoseconds now)
    {
        if (repeats_)
            due_ += ((now - due_) / interval_ + 1) * interval_;
        else
            isValid_ = false;
        isFiring_ = true;
        callOut(block_, static_cast<platform::Timer&>(*this));
        isFiring_ = false;
        if (!isValid_)
            block_ = nullptr;
    }

private:
    const std::chrono::nanoseconds interval_;
    const bool repeats_;
    bool isValid_ = true;
    bool isFiring_ = false;
    std::chrono::nanoseconds due_;
    std::function<void(platform::Timer&)> block_;
};

ThreadRunLoop::ThreadRunLoop()
    : pollDescriptor_(epoll_create1(EPOLL_CLOEXEC)),
      wakeDescriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      timerDescriptor_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    addToPoll(pollDescriptor_, wakeDescriptor_);
    addToPoll(pollDescriptor_, timerDescriptor_);
}

ThreadRunLoop::~ThreadRunLoop()
{
    ::close(timerDescriptor_);
    ::close(wakeDescriptor_);
    ::close(pollDescriptor_);
}

std::shared_ptr<platform::Timer> ThreadRunLoop::scheduleTimer(
    std::chrono::nanoseconds interval, bool repeats, std::function<void(platform::Timer&)> block)
{
    auto timer = std::make_shared<LoopTimer>(interval, repeats, std::move(block));
    dropEnded();
    timers_.push_back(timer);
    armDescriptor();
    return timer;
}

void ThreadRunLoop::run()
{
    while (!isStopped_.exchange(false))
        turn(never, true);
}

void ThreadRunLoop::stop()
{
    isStopped_ = true;
    wake();
}

bool ThreadRunLoop::runOnce(std::chrono::nanoseconds limit)
{
    return turn(limit, false);
}

bool ThreadRunLoop::turn(std::chrono::nanoseconds limit, bool endsWhenStopped)
{
    const std::chrono::nanoseconds begin = monotonicNow();
    for (;;) {
        bool ran = false;
        std::uint64_t wakes = 0;
        [[maybe_unused]] const ssize_t consumed = ::read(wakeDescriptor_, &wakes, sizeof wakes);
        if (SerialQueue* queue = takeReady()) {
            const std::shared_ptr<SerialQueue> alive = queue->release();
            if (alive->run(itemsPerTurn)) {
                alive->retain();
                schedule(*alive);
            }
            ran = true;
        }
        ran = fireTimers() || ran;
        const std::chrono::nanoseconds passed = monotonicNow() - begin;
        if (ran || (endsWhenStopped && isStopped_) || passed >= limit)
            return ran;
        pollfd entry{.fd = pollDescriptor_, .events = POLLIN, .revents = 0};
        const std::chrono::nanoseconds left = isOpen() ? limit - passed : std::min(limit - passed, pause);
        const timespec wait{.tv_sec = static_cast<time_t>(left.count() / 1'000'000'000),
            .tv_nsec = static_cast<long>(left.count() % 1'000'000'000)};
        ::ppoll(&entry, 1, isOpen() && limit == never ? nullptr : &wait, nullptr);
    }
}

bool ThreadRunLoop::fireTimers()
{
    bool fired = false;
    const std::chrono::nanoseconds now = monotonicNow();
    std::vector<std::shared_ptr<LoopTimer>> due; // blocks may add timers and end others
    for (const std::shared_ptr<LoopTimer>& timer : timers_) {
        if (timer->isDue(now))
            due.insert(std::ranges::upper_bound(due, timer->due(), {}, &LoopTimer::due), timer);
    }
    for (const std::shared_ptr<LoopTimer>& timer : due) {
        if (timer->isDue(now)) {
            timer->fire(now);
            fired = true;
        }
    }
    if (dropEnded() || fired)
        armDescriptor();
    return fired;
}

bool ThreadRunLoop::dropEnded()
{
    return std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); }) > 0;
}

void ThreadRunLoop::armDescriptor()
{
    std::chrono::nanoseconds next{};
    for (const std::shared_ptr<LoopTimer>& timer : timers_) {
        if (timer->isValid() && (next.count() == 0 || timer->due() < next))
            next = timer->due();
    }
    const itimerspec value{.it_interval = {},
        .it_value = {.tv_sec = static_cast<time_t>(next.count() / 1'000'000'000),
            .tv_nsec = static_cast<long>(next.count() % 1'000'000'000)}};
    timerfd_settime(timerDescriptor_, TFD_TIMER_ABSTIME, &value, nullptr);
}

void ThreadRunLoop::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeDescriptor_, &one, sizeof one);
}

SerialQueue* ThreadRunLoop::takeReady()
{
    const MutexLock lock(guard_);
    return std::exchange(ready_, nullptr);
}

void ThreadRunLoop::schedule(SerialQueue& queue)
{
    {
        const MutexLock lock(guard_);
        if (!isClosed_) {
            assert(ready_ == nullptr); // a second queue would be lost
            ready_ = &queue;
            wake();
            return;
        }
    }
    const std::shared_ptr<SerialQueue> alive = queue.release();
    alive->discard();
}

void ThreadRunLoop::close()
{
    {
        const MutexLock lock(guard_);
        isClosed_ = true;
    }
    if (SerialQueue* queue = takeReady()) {
        const std::shared_ptr<SerialQueue> alive = queue->release();
        alive->discard();
    }
    // A block may hold a reference to an object that holds this loop.
    for (const std::shared_ptr<LoopTimer>& timer : std::exchange(timers_, {}))
        timer->invalidate();
}

} // namespace tamsel::engine
