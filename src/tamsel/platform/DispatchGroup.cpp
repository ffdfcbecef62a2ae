#include <tamsel/platform/DispatchGroup.h>

namespace tamsel::platform {

void DispatchGroup::enter()
{
    const MutexLock lock(guard_);
    ++entered_;
}

void DispatchGroup::leave()
{
    std::vector<Waiting> ready;
    {
        const MutexLock lock(guard_);
        assert(entered_ > 0);
        if (--entered_ == 0)
            ready.swap(waiting_);
    }
    for (Waiting& waiting : ready)
        waiting.queue->async(std::move(waiting.item));
}

void DispatchGroup::notify(std::shared_ptr<DispatchQueue> queue, WorkItem item)
{
    {
        const MutexLock lock(guard_);
        if (entered_ > 0) {
            waiting_.push_back({std::move(queue), std::move(item)});
            return;
        }
    }
    queue->async(std::move(item));
}

} // namespace tamsel::platform
