#pragma once

#include <engine/dispatch/WorkCell.h>

#include <tamsel/platform/Dispatch.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace tamsel::engine {

class SerialQueue;

/// Runs ready queues.
class QueueExecutor {
public:
    virtual ~QueueExecutor() = default;

    /// The queue has just become ready and retains itself. Calls `SerialQueue::run` soon, or `discard` once it is
    /// closed.
    virtual void schedule(SerialQueue& queue) = 0;
    /// The same, from an item that is ending: the calling thread may run the queue next.
    virtual void scheduleNext(SerialQueue& queue) { schedule(queue); }
};

/// A serial queue whose state is one atomic word: idle, busy and empty, or the newest cell of a chain. A producer adds
/// with one compare-exchange; only the one that finds the queue idle schedules it.
class SerialQueue final : public platform::DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
public:
    /// Items see `identity` as the current queue; the queue itself when null.
    SerialQueue(std::string label, std::shared_ptr<QueueExecutor> executor, const void* identity = nullptr);

    void async(platform::WorkItem item) override;
    void handOver(platform::WorkItem item) override;
    [[nodiscard]] const std::string& label() const override { return label_; }
    [[nodiscard]] bool isCurrent() const override { return isCurrent(identity_); }
    [[nodiscard]] static bool isCurrent(const void* identity);
    /// Of the queue whose item the calling thread runs; empty outside of items.
    [[nodiscard]] static std::string_view currentLabel();

    // For executors. A ready queue is in exactly one place: in a list, next on a thread, or running.

    /// Runs up to `limit` items; true when it is still ready, else it has become idle.
    [[nodiscard]] bool run(int limit);
    /// Whether items wait behind the running one. Called by that item.
    [[nodiscard]] bool hasMore() const;
    /// Destroys all items unrun and becomes idle.
    void discard();
    /// Releases the reference that a ready queue holds to itself.
    [[nodiscard]] std::shared_ptr<SerialQueue> release() { return std::move(retained_); }
    void retain() { retained_ = shared_from_this(); }

    /// Link of the executor's list of ready queues.
    SerialQueue* nextReady = nullptr;

private:
    /// True when the queue was idle and must be scheduled.
    [[nodiscard]] bool add(platform::WorkItem item);
    [[nodiscard]] WorkCell* nextCell();
    [[nodiscard]] bool becomeIdle();

    const std::string label_;
    const std::shared_ptr<QueueExecutor> executor_;
    const void* const identity_;
    std::atomic<WorkCell*> newest_ = nullptr;
    /// Taken from the chain and reversed: oldest first. For the thread that runs the queue.
    WorkCell* taken_ = nullptr;
    std::shared_ptr<SerialQueue> retained_;
};

} // namespace tamsel::engine
