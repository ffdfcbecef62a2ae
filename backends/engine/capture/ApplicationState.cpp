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
    const MutexLock lock(guard_);
    isOrientationSet_ = true;
    turn(orientation);
}

void ApplicationState::turnWithDevice(UIInterfaceOrientation orientation)
{
    const MutexLock lock(guard_);
    if (!isOrientationSet_)
        turn(orientation);
}

void ApplicationState::turn(UIInterfaceOrientation orientation)
{
    if (std::exchange(orientation_, orientation) != orientation)
        postOnMainQueue(UIApplicationDidChangeStatusBarOrientationNotification);
}

bool ApplicationState::isInBackground() const
{
    const MutexLock lock(guard_);
    return reasons_ != 0;
}

void ApplicationState::enterBackground(BackgroundReason reason)
{
    const MutexLock lock(guard_);
    if (std::exchange(reasons_, reasons_ | std::to_underlying(reason)) == 0)
        postOnMainQueue(UIApplicationDidEnterBackgroundNotification);
}

void ApplicationState::enterForeground(BackgroundReason reason)
{
    const MutexLock lock(guard_);
    if (std::exchange(reasons_, reasons_ & ~std::to_underlying(reason)) == 0 || reasons_ != 0)
        return;
    postOnMainQueue(UIApplicationWillEnterForegroundNotification);
    std::erase_if(waiters_, [](const Waiter& waiter) { return waiter.owner.expired(); });
    for (const Waiter& waiter : waiters_) {
        mainQueue_->async([waiter = waiter] {
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
