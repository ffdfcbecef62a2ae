#include <tamsel/platform/CALayer.h>

#include <algorithm>
#include <utility>

namespace tamsel::platform {

std::string CALayer::name() const
{
    const MutexLock lock(guard_);
    return name_;
}

void CALayer::setName(std::string name)
{
    const MutexLock lock(guard_);
    name_ = std::move(name);
}

CGRect CALayer::bounds() const
{
    return {.origin = {}, .size = frame().size};
}

CGRect CALayer::frame() const
{
    const MutexLock lock(guard_);
    return frame_;
}

void CALayer::setFrame(CGRect frame)
{
    const MutexLock lock(guard_);
    frame_ = frame;
}

std::vector<std::shared_ptr<CALayer>> CALayer::sublayers() const
{
    const MutexLock lock(guard_);
    return sublayers_;
}

void CALayer::addSublayer(std::shared_ptr<CALayer> layer)
{
    std::function<void()> added;
    {
        const MutexLock lock(guard_);
        sublayers_.push_back(std::move(layer));
        added = added_;
    }
    if (added)
        added();
}

void CALayer::setSublayerObserver(std::function<void()> added)
{
    const MutexLock lock(guard_);
    added_.swap(added); // the earlier one is released after the lock
}

void CALayer::removeSublayer(const std::shared_ptr<CALayer>& layer)
{
    std::shared_ptr<CALayer> removed; // released after the lock: its destructor may run client code
    const MutexLock lock(guard_);
    if (const auto found = std::ranges::find(sublayers_, layer); found != sublayers_.end()) {
        removed = std::move(*found);
        sublayers_.erase(found);
    }
}

} // namespace tamsel::platform
