#pragma once

#include <engine/dispatch/PollSet.h>
#include <engine/dispatch/SerialQueue.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tamsel::engine {

/// The ready queues, the waiting workers, and the choice of the worker to wake. Two waiting workers poll the devices,
/// so the one that receives an event also runs the queues that it leads to. The others are parked, because a parked
/// thread wakes up faster. Thread-safe.
class ReadyList {
public:
    /// The list's state of one worker.
    struct Waiter {
        std::atomic<std::uint32_t> isWoken = 0; ///< from parking
        bool restedShortly = false; ///< the last time; used by the worker only
    };

    /// At most `maximumWaiters` workers wait at a time.
    ReadyList(PollSet& pollSet, std::size_t maximumWaiters)
        : pollSet_(pollSet),
          maximumWaiters_(maximumWaiters)
    {
    }

    /// Adds a queue at the end and wakes a worker for it. Discards the queue once the list is closed.
    void push(SerialQueue& queue);
    /// The oldest queue; null when there is none.
    [[nodiscard]] SerialQueue* take();

    /// Waits until there may be a queue to take, or the end. An event of a device is handled inside, after a call of
    /// `beginEvent`. False when enough others wait.
    template <typename BeginEvent> [[nodiscard]] bool wait(Waiter& waiter, BeginEvent beginEvent)
    {
        // Spinning pays while work comes in quick succession, but never at the rate of frames.
        if (waiter.restedShortly && spin())
            return true;
        const auto begin = std::chrono::steady_clock::now();
        const Place place = enter(waiter);
        bool wasWoken = place == Place::parked;
        if (wasWoken) {
            park(waiter);
        } else if (place == Place::poll) {
            wasWoken = pollSet_.wait(PollSet::forEver, [&] {
                leavePoll();
                beginEvent();
            });
        }
        waiter.restedShortly = wasWoken && std::chrono::steady_clock::now() - begin < shortRest;
        if (wasWoken)
            passWakeOn(true);
        return place != Place::none;
    }

    /// Handles one event of a device, if there is one.
    void lookAtDevices();

    [[nodiscard]] bool isAnybodyPolling() const { return pollers_.load(std::memory_order_relaxed) > 0; }
    [[nodiscard]] bool isAnybodyWaiting() const { return waiters_.load(std::memory_order_relaxed) > 0; }

    /// From now on no worker waits. Each worker that ends calls `wakeNextPoller`.
    void stop();
    [[nodiscard]] bool isStopping() const { return isStopping_.load(std::memory_order_relaxed); }
    void wakeNextPoller() { pollSet_.wake(); }
    /// Discards all queues, and those that are pushed later.
    void close();

private:
    enum class Place { notNeeded, none, parked, poll };

    /// The worker to wake once the guard is free.
    struct Wake {
        Waiter* parked = nullptr;
        bool isForPoller = false;
    };

    [[nodiscard]] Place enter(Waiter& waiter);
    static void park(Waiter& waiter);
    [[nodiscard]] bool spin();
    void leavePoll();
    void passWakeOn(bool wasWoken);
    [[nodiscard]] Wake chooseWake() TAMSEL_REQUIRES(guard_);
    void carryOut(Wake wake);

    static constexpr std::chrono::microseconds shortRest{60};

    PollSet& pollSet_;
    const std::size_t maximumWaiters_;
    Mutex guard_;
    SerialQueue* oldest_ TAMSEL_GUARDED_BY(guard_) = nullptr;
    SerialQueue* newest_ TAMSEL_GUARDED_BY(guard_) = nullptr;
    std::vector<Waiter*> parked_ TAMSEL_GUARDED_BY(guard_); ///< the last one is woken first
    /// A worker has been woken and will take or wake for the rest.
    bool wakeIsUnderway_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isClosed_ TAMSEL_GUARDED_BY(guard_) = false;
    // Written under the guard, read also without it.
    std::atomic<std::size_t> count_ = 0;
    std::atomic<std::size_t> pollers_ = 0;
    std::atomic<std::size_t> waiters_ = 0; ///< polling or parked workers
    std::atomic<bool> isStopping_ = false;
    /// At most one worker spins.
    std::atomic<bool> isSpinning_ = false;
};

} // namespace tamsel::engine
