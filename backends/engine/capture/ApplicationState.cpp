#include <engine/capture/ApplicationState.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;

ApplicationState::ApplicationState(std::shared_ptr<DispatchQueue> mainQueue, NotificationCenter& center)
    : mainQueue_(std::move(mainQueue)),
      center_(center)
{
}

UIInterfaceOrientation ApplicationState::statusBarOrientation() const
{
    const MutexLock lock(guard_);
    return orientation_;
}

void ApplicationState::setStatusBarOrientation(UIInterfaceOrientation orientation)
{
    {
        const MutexLock lock(guard_);
        if (std::exchange(orientation_, orientation) == orientation)
            return;
    }
    postOnMainQueue(UIApplicationDidChangeStatusBarOrientationNotification);
}

bool ApplicationState::isInBackground() const
{
    const MutexLock lock(guard_);
    return inBackground_;
}

void ApplicationState::enterBackground()
{
    {
        const MutexLock lock(guard_);
        if (std::exchange(inBackground_, true))
            return;
    }
    postOnMainQueue(UIApplicationDidEnterBackgroundNotification);
}

void ApplicationState::enterForeground()
{
    std::vector<Waiter> waiters;
    {
        const MutexLock lock(guard_);
        if (!std::exchange(inBackground_, false))
            return;
        std::erase_if(waiters_, [](const Waiter& waiter) { return waiter.owner.expired(); });
        waiters = waiters_;
    }
    postOnMainQueue(UIApplicationWillEnterForegroundNotification);
    for (Waiter& waiter : waiters) {
        mainQueue_->async([waiter = std::move(waiter)] {
            if (const std::shared_ptr<void> owner = waiter.owner.lock())
                waiter.callback();
        });
    }
}

void ApplicationState::whenForeground(std::weak_ptr<void> owner, std::function<void()> callback)
{
    const MutexLock lock(guard_);
    std::erase_if(waiters_, [](const Waiter& waiter) { return waiter.owner.expired(); });
    waiters_.push_back({std::move(owner), std::move(callback)});
}

void ApplicationState::postOnMainQueue(std::string_view notification)
{
    mainQueue_->async([&center = center_, notification] { center.post(notification); });
}

} // namespace tamsel::engine
