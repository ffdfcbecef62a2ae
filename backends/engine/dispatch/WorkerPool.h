#pragma once

#include <engine/dispatch/PollSet.h>
#include <engine/dispatch/SerialQueue.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace tamsel::engine {

/// The threads that run ready queues. What an item hands over as its last act goes into its worker's own slot and is run
/// next by the same thread, without a lock or a wake. Two idle workers wait on the poll set, so whoever sees a device's
/// event also runs the queues that it leads to; the others are parked, because a parked thread is woken faster.
/// A watcher looks after what a long item holds up; where the system has no thread for it, items hand
/// nothing to their own worker. Fewer workers than were asked for do the same, more slowly.
class WorkerPool final : public QueueExecutor {
public:
    static constexpr std::size_t maximumWorkers = 64;

    explicit WorkerPool(std::size_t workers);
    ~WorkerPool() override;
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Otherwise the system had no descriptor left, and nothing can run.
    [[nodiscard]] bool isOpen() const { return pollSet_->isOpen() && watchTimer_ >= 0; }
    /// False when it is not open, or the system has no thread left: nothing will run.
    [[nodiscard]] bool start();
    /// Ends and joins all threads and destroys what has not run. Never on a worker.
    void stop();

    void schedule(SerialQueue& queue) override;

    [[nodiscard]] const std::shared_ptr<PollSet>& pollSet() const { return pollSet_; }

private:
    struct Worker {
        std::atomic<SerialQueue*> slot = nullptr;
        std::atomic<std::uint64_t> turns = 0;
        std::atomic<bool> isDone = false;
        std::atomic<std::uint32_t> isWoken = 0;
        /// When the slot was last filled in this turn; zero before.
        std::atomic<std::chrono::nanoseconds> slotSince{};
        // Its own.
        SerialQueue* running = nullptr;
        int slotTurns = 0;
        std::chrono::steady_clock::time_point lookedAtDevices;
        bool lastRestWasShort = false;
        // The watcher's memory of its last look.
        std::uint64_t seenTurns = 0;
        std::uint64_t lastTurns = 0;
        std::thread thread;
    };

    /// Who is to be woken once the guard is free.
    struct Wake {
        Worker* parked = nullptr;
        bool isForPoller = false;
    };

    bool addWorker();
    void work(Worker& worker);
    [[nodiscard]] SerialQueue* nextQueue(Worker& worker);
    void runQueue(Worker& worker, SerialQueue* queue);
    void pushShared(SerialQueue& queue);
    [[nodiscard]] SerialQueue* takeShared();
    [[nodiscard]] static bool lingers(const Worker& worker);
    bool freeStandingSlots();

    [[nodiscard]] Wake chooseWake();
    void carryOut(Wake wake);
    void passWakeOn(bool wasWoken);
    [[nodiscard]] bool waitForWork(Worker& worker);
    [[nodiscard]] bool spin();
    void leavePollSet(Worker& worker);
    void lookAtDevices(Worker& worker);

    void keepWatch(bool isUrgent);
    void watch();
    [[nodiscard]] bool nobodyWaits();
    [[nodiscard]] bool needsWatch();
    [[nodiscard]] bool lookAfterWorkers();
    void setWatchTimer(std::chrono::nanoseconds delay) const;

    static constinit thread_local Worker* currentWorker;
    static constinit thread_local const WorkerPool* currentPool;

    const std::size_t baseWorkers_;
    const std::shared_ptr<PollSet> pollSet_ = std::make_shared<PollSet>();

    /// Guards what is ready and who waits. The atomic ones are also read without it.
    Mutex readyGuard_;
    SerialQueue* oldestReady_ = nullptr;
    SerialQueue* newestReady_ = nullptr;
    std::atomic<std::size_t> readyCount_ = 0;
    std::vector<Worker*> parked_; // the last one is woken first
    std::atomic<std::size_t> pollers_ = 0;
    /// Somebody has been woken and will see to the rest.
    bool wakeIsUnderway_ = false;
    bool isClosed_ = false;

    /// One worker at most looks out for work without sleeping.
    std::atomic<bool> isSpinning_ = false;
    std::atomic<bool> isStopping_ = false;
    std::atomic<std::size_t> liveWorkers_ = 0;

    Mutex workersGuard_;
    std::vector<std::unique_ptr<Worker>> workers_;

    /// The watcher sleeps on a timer that runs while the pool is in use.
    const int watchTimer_;
    Mutex watchGuard_;
    std::atomic<bool> hasWatcher_ = false;
    std::atomic<bool> isWatching_ = false;
    std::atomic<bool> isWatchUrgent_ = false;
    std::chrono::steady_clock::time_point lastMoved_;
    std::thread watcher_;
};

} // namespace tamsel::engine
