#include <engine/capture/CaptureActivity.h>

#include <utility>

namespace tamsel::engine {

std::shared_ptr<void> CaptureActivity::begin()
{
    const MutexLock lock(guard_);
    ++count_;
    return {nullptr, [self = shared_from_this()](std::nullptr_t) { self->end(); }};
}

void CaptureActivity::whenIdle(std::function<void()> callback)
{
    {
        const MutexLock lock(guard_);
        if (count_ > 0) {
            waiters_.push_back(std::move(callback));
            return;
        }
    }
    callback();
}

void CaptureActivity::end()
{
    std::vector<std::function<void()>> waiters;
    {
        const MutexLock lock(guard_);
        if (--count_ == 0)
            waiters_.swap(waiters);
    }
    for (const std::function<void()>& callback : waiters)
        callback();
}

} // namespace tamsel::engine
