#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/WorkItem.h>

#include <cassert>
#include <memory>
#include <string>
#include <utility>

namespace tamsel::platform {

/// A serial queue: its items run one at a time, first in first out, on any thread of the back end. The global queue is
/// the one exception: its items may run in parallel. An item never runs inside the call that posted it. Posted items
/// run even when the queue has no owner any more; they are destroyed unrun only when the platform ends. Thread-safe.
class TAMSEL_THREAD_SAFETY(capability("queue")) DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    /// Adds an item at the end and returns at once.
    virtual void async(WorkItem item) = 0;

    /// As `async`, as the caller's last act: the calling thread may run the item next, which saves a wake-up. Further
    /// work of the caller may delay the item.
    virtual void handOver(WorkItem item) { async(std::move(item)); }

    [[nodiscard]] virtual const std::string& label() const = 0;

    /// True while the calling thread runs an item of this queue.
    [[nodiscard]] virtual bool isCurrent() const = 0;

    void assertCurrent() const TAMSEL_THREAD_SAFETY(assert_capability(this)) { assert(isCurrent()); }
};

/// Makes queues, and has the two shared ones. Thread-safe.
class Dispatch {
public:
    virtual ~Dispatch() = default;

    /// The label is for people.
    [[nodiscard]] virtual std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) = 0;

    /// The serial queue that the application's main thread (or virtual main thread) runs.
    [[nodiscard]] virtual std::shared_ptr<DispatchQueue> mainQueue() = 0;

    /// The shared queue of default quality of service; its items may overlap.
    [[nodiscard]] virtual std::shared_ptr<DispatchQueue> globalQueue() = 0;

    /// True on the thread that runs the main queue, also outside of its items.
    [[nodiscard]] virtual bool isMainThread() const = 0;
};

} // namespace tamsel::platform
