#include <engine/dispatch/PollSet.h>

#include <engine/dispatch/callback.h>
#include <engine/dispatch/monotonicNow.h>

#include <tamsel/Mutex.h>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace tamsel::engine {

namespace {

constexpr std::uint64_t wakeIdentifier = 0;

void setTimer(int descriptor, std::chrono::nanoseconds time)
{
    // A time of zero would disarm it.
    time = std::max(time, std::chrono::nanoseconds{1});
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const itimerspec value{
        .it_interval = {}, .it_value = {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()}};
    timerfd_settime(descriptor, TFD_TIMER_ABSTIME, &value, nullptr);
}

} // namespace

/// One event source. A descriptor is a one-shot entry of the poll set that is armed again each time. A timer is
/// edge-triggered and never read: each setting makes one edge.
class PollSet::Source {
public:
    Source(int pollDescriptor, int descriptor, bool isTimer, std::uint64_t identifier,
        std::function<void()> fire)
        : pollDescriptor_(pollDescriptor),
          descriptor_(descriptor),
          isTimer_(isTimer),
          identifier_(identifier),
          fire_(std::move(fire))
    {
    }

    ~Source()
    {
        if (isTimer_)
            ::close(descriptor_);
    }

    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    [[nodiscard]] bool enter()
    {
        epoll_event event{
            .events = isTimer_ ? EPOLLIN | EPOLLET : EPOLLONESHOT, .data = {.u64 = identifier_}};
        return epoll_ctl(pollDescriptor_, EPOLL_CTL_ADD, descriptor_, &event) == 0;
    }

    void arm(std::chrono::nanoseconds time)
    {
        const MutexLock lock(guard_);
        if (ended_)
            return;
        isArmed_ = true;
        time_ = time;
        if (isTimer_) {
            setTimer(descriptor_, time);
            return;
        }
        epoll_event event{.events = EPOLLIN | EPOLLONESHOT, .data = {.u64 = identifier_}};
        epoll_ctl(pollDescriptor_, EPOLL_CTL_MOD, descriptor_, &event);
    }

    void cancel()
    {
        const MutexLock lock(guard_);
        isArmed_ = false;
        isDue_ = false;
    }

    void end(bool pollSetIsOpen)
    {
        const MutexLock lock(guard_);
        if (std::exchange(ended_, true))
            return;
        isArmed_ = false;
        isDue_ = false;
        if (pollSetIsOpen)
            epoll_ctl(pollDescriptor_, EPOLL_CTL_DEL, descriptor_, nullptr);
    }

    void carryOut()
    {
        {
            const MutexLock lock(guard_);
            // An event of an earlier arming, which has been replaced since.
            if (!isArmed_ || (isTimer_ && monotonicNow() < time_))
                return;
            isArmed_ = false;
            isDue_ = true;
            if (isFiring_)
                return;
            isFiring_ = true;
        }
        while (takeDue())
            callOut(fire_);
    }

private:
    bool takeDue()
    {
        const MutexLock lock(guard_);
        isFiring_ = std::exchange(isDue_, false);
        return isFiring_;
    }

    const int pollDescriptor_;
    const int descriptor_;
    const bool isTimer_;
    const std::uint64_t identifier_;
    const std::function<void()> fire_;
    Mutex guard_;
    std::chrono::nanoseconds time_ TAMSEL_GUARDED_BY(guard_){};
    bool isArmed_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isDue_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isFiring_ TAMSEL_GUARDED_BY(guard_) = false;
    bool ended_ TAMSEL_GUARDED_BY(guard_) = false;
};

class PollSet::Handle final : public EventSource {
public:
    Handle(std::shared_ptr<PollSet> set, std::shared_ptr<Source> source, std::uint64_t identifier)
        : set_(std::move(set)),
          source_(std::move(source)),
          identifier_(identifier)
    {
    }

    ~Handle() override
    {
        const MutexLock lock(set_->guard_);
        source_->end(!set_->closed_);
        set_->sources_.erase(identifier_);
    }

    void armAt(std::chrono::nanoseconds monotonicTime) override { source_->arm(monotonicTime); }
    void armReadable() override { source_->arm({}); }
    void cancel() override { source_->cancel(); }

private:
    std::shared_ptr<PollSet> set_;
    std::shared_ptr<Source> source_;
    std::uint64_t identifier_;
};

PollSet::PollSet()
    : pollDescriptor_(epoll_create1(EPOLL_CLOEXEC)),
      wakeDescriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    // Edge-triggered: each write wakes one thread, and no thread has to read it.
    epoll_event event{.events = EPOLLIN | EPOLLET, .data = {.u64 = wakeIdentifier}};
    epoll_ctl(pollDescriptor_, EPOLL_CTL_ADD, wakeDescriptor_, &event);
}

PollSet::~PollSet()
{
    ::close(wakeDescriptor_);
    ::close(pollDescriptor_);
}

std::unique_ptr<EventSource> PollSet::makeTimer(std::function<void()> fire)
{
    const MutexLock lock(guard_);
    const std::uint64_t identifier = ++lastIdentifier_;
    auto source = std::make_shared<Source>(pollDescriptor_,
        timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC), true, identifier, std::move(fire));
    if (!source->enter())
        return nullptr;
    sources_.emplace(identifier, source);
    return std::make_unique<Handle>(shared_from_this(), std::move(source), identifier);
}

std::unique_ptr<EventSource> PollSet::makeDescriptor(int descriptor, std::function<void()> fire)
{
    const MutexLock lock(guard_);
    const std::uint64_t identifier = ++lastIdentifier_;
    auto source = std::make_shared<Source>(pollDescriptor_, descriptor, false, identifier, std::move(fire));
    if (!source->enter())
        return nullptr;
    sources_.emplace(identifier, source);
    return std::make_unique<Handle>(shared_from_this(), std::move(source), identifier);
}

void PollSet::wake()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeDescriptor_, &one, sizeof one);
}

PollSet::Event PollSet::waitForEvent(Wait limit)
{
    epoll_event event{};
    if (epoll_wait(pollDescriptor_, &event, 1, limit == forEver ? -1 : 0) != 1)
        return {.isWake = false, .isSource = false, .identifier = 0}; // none, or interrupted by a signal
    const bool isWake = event.data.u64 == wakeIdentifier;
    return {.isWake = isWake, .isSource = !isWake, .identifier = event.data.u64};
}

void PollSet::carryOut(std::uint64_t identifier)
{
    std::shared_ptr<Source> source;
    {
        const MutexLock lock(guard_);
        if (const auto found = sources_.find(identifier); found != sources_.end())
            source = found->second;
    }
    if (source)
        source->carryOut();
}

void PollSet::close()
{
    std::unordered_map<std::uint64_t, std::shared_ptr<Source>> sources;
    {
        const MutexLock lock(guard_);
        closed_ = true;
        sources.swap(sources_);
    }
    for (const auto& [identifier, source] : sources)
        source->end(true);
}

} // namespace tamsel::engine
