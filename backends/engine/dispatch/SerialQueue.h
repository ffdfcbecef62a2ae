#pragma once

#include <engine/dispatch/WorkCell.h>

#include <tamsel/platform/Dispatch.h>

#include <atomic>
#include <memory>
#include <string>

namespace tamsel::engine {

class SerialQueue;

/// Runs queues that have something to run.
class QueueExecutor {
public:
    virtual ~QueueExecutor() = default;

    /// The queue has just become ready and retains itself. Calls `SerialQueue::run` soon, or `discard` once it is closed.
    virtual void schedule(SerialQueue& queue) = 0;
};

/// A serial queue whose state is one atomic word: idle, busy and empty, or the newest cell of a chain. A producer adds
/// with one compare-exchange; only the one that finds the queue idle schedules it.
class SerialQueue final : public platform::DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
public:
    /// Items see `identity` as the current queue; the queue itself when null.
    SerialQueue(std::string label, std::shared_ptr<QueueExecutor> executor, const void* identity = nullptr);

    void async(platform::WorkItem item) override;
    [[nodiscard]] const std::string& label() const override { return label_; }
    [[nodiscard]] bool isCurrent() const override { return isCurrent(identity_); }
    [[nodiscard]] static bool isCurrent(const void* identity);

    // For executors. A ready queue is in exactly one place: a list, a slot, or running.

    /// Runs up to `limit` items; true when it is still ready, else it has become idle.
    [[nodiscard]] bool run(int limit);
    /// Destroys all items unrun and becomes idle.
    void discard();
    /// Gives up the hold on itself that a ready queue has.
    [[nodiscard]] std::shared_ptr<SerialQueue> release() { return std::move(retained_); }
    void retain() { retained_ = shared_from_this(); }

    /// How what an item of this queue hands over is to be carried: by its own worker, next; the same, with somebody who
    /// watches whether the item ends soon; or by another worker at once.
    enum class HandOver { trusted, watched, byAnother };
    /// For the next hand-over. Each one that goes well brings it nearer to being trusted.
    [[nodiscard]] HandOver nextHandOver()
    {
        const int left = probation_.load(std::memory_order_relaxed);
        if (left == 0)
            return HandOver::trusted;
        probation_.store(left - 1, std::memory_order_relaxed);
        return left > watchedHandOvers ? HandOver::byAnother : HandOver::watched;
    }
    /// An item has handed something over and then gone on for long.
    void noteEarlyHandOver()
    {
        probation_.store(earlyHandOvers + watchedHandOvers, std::memory_order_relaxed);
    }

    /// Link of the executor's list of ready queues.
    SerialQueue* nextReady = nullptr;

private:
    static constexpr int watchedHandOvers = 8;
    static constexpr int earlyHandOvers = 64;

    [[nodiscard]] WorkCell* nextCell();
    [[nodiscard]] bool becomeIdle();

    const std::string label_;
    const std::shared_ptr<QueueExecutor> executor_;
    const void* const identity_;
    std::atomic<WorkCell*> newest_ = nullptr;
    /// Taken from the chain and turned round: oldest first. Belongs to whoever runs the queue.
    WorkCell* taken_ = nullptr;
    std::shared_ptr<SerialQueue> retained_;
    std::atomic<int> probation_ = watchedHandOvers;
};

} // namespace tamsel::engine
