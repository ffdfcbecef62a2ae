#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>

#include <utility>
#include <vector>

namespace tamsel::platform {

/// Counts pieces of work and posts the waiting items when the count reaches zero. Thread-safe.
class DispatchGroup {
public:
    void enter();

    /// Balances one `enter`. The last one posts the items of `notify`, outside of the group's lock.
    void leave();

    /// Posts `item` to `queue` when the group is, or next becomes, empty.
    void notify(std::shared_ptr<DispatchQueue> queue, WorkItem item);

private:
    struct Waiting {
        std::shared_ptr<DispatchQueue> queue;
        WorkItem item;
    };

    Mutex guard_;
    std::size_t entered_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::vector<Waiting> waiting_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::platform
