#pragma once

#include <engine/dispatch/HeldUpWatch.h>
#include <engine/dispatch/PollSet.h>
#include <engine/dispatch/ReadyList.h>
#include <engine/dispatch/SerialQueue.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace tamsel::engine {

/// The threads that run ready queues. A queue that an item hands over is run next by the same thread, without a lock or
/// a wake-up. When all threads are inside items for long, one more is started. With fewer threads than requested the
/// pool is slower.
class WorkerPool final : public QueueExecutor {
public:
    static constexpr std::size_t maximumWorkers = 64;

    explicit WorkerPool(std::size_t workers);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// False when the system had no descriptor left; nothing can run then.
    [[nodiscard]] bool isOpen() const { return pollSet_->isOpen(); }
    /// False when it is not open, or the system has no thread left: nothing will run.
    [[nodiscard]] bool start();
    /// Ends and joins all threads and destroys unrun items. Never on a worker.
    void stop();

    void schedule(SerialQueue& queue) override { ready_.push(queue); }
    void scheduleNext(SerialQueue& queue) override;

    [[nodiscard]] const std::shared_ptr<PollSet>& pollSet() const { return pollSet_; }

private:
    struct Worker {
        ReadyList::Waiter waiter;
        std::atomic<std::uint64_t> begunItems = 0; ///< and events
        std::atomic<bool> isDone = false;
        // For the worker itself.
        SerialQueue* running = nullptr;
        SerialQueue* next = nullptr; ///< handed over by the last item
        int turnsInARow = 0; ///< of queues that were handed over
        std::chrono::steady_clock::time_point lookedAtDevices;
        std::thread thread;
    };

    bool addWorker();
    void work(Worker& worker);
    [[nodiscard]] SerialQueue* nextQueue(Worker& worker);
    void runQueue(Worker& worker, SerialQueue* queue);
    void beginItem(Worker& worker);
    void lookAtDevices(Worker& worker);
    [[nodiscard]] bool lookAfterWorkers();

    static constinit thread_local Worker* currentWorker;
    static constinit thread_local const WorkerPool* currentPool;

    const std::size_t baseWorkers_;
    const std::shared_ptr<PollSet> pollSet_ = std::make_shared<PollSet>();
    ReadyList ready_;
    Mutex workersGuard_;
    std::vector<std::unique_ptr<Worker>> workers_ TAMSEL_GUARDED_BY(workersGuard_);
    std::uint64_t seenItems_ TAMSEL_GUARDED_BY(workersGuard_) = 0;
    HeldUpWatch watch_;
};

} // namespace tamsel::engine
