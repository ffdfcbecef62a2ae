#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <semaphore>
#include <vector>

namespace tamsel::benchmarks {

using Clock = std::chrono::steady_clock;

struct Frame {
    Clock::time_point stamp;
};
using FrameHandle = std::shared_ptr<Frame>;

/// The resources that the process has used so far.
struct Usage {
    std::chrono::nanoseconds processor;
    std::uint64_t heapCalls;
    Clock::time_point time;
};
[[nodiscard]] Usage currentUsage();

/// The source of frames: a small pool. The first `warmUp` frames do not count.
class Feed {
public:
    Feed(std::size_t warmUp, std::size_t total) : warmUp_(warmUp), total_(total)
    {
        for (FrameHandle& frame : frames_)
            frame = std::make_shared<Frame>();
    }

    /// The next frame; its latency counts from now.
    [[nodiscard]] FrameHandle take()
    {
        if (taken_ == warmUp_)
            begin_ = currentUsage();
        const FrameHandle& frame = frames_[taken_++ % frames_.size()];
        frame->stamp = Clock::now();
        return frame;
    }

    [[nodiscard]] bool isEmpty() const { return taken_ == total_; }
    /// The next frame is the last one.
    [[nodiscard]] bool isLast() const { return taken_ + 1 == total_; }
    [[nodiscard]] const Usage& begin() const { return begin_; }

private:
    const std::size_t warmUp_;
    const std::size_t total_;
    std::size_t taken_ = 0;
    std::vector<FrameHandle> frames_ = std::vector<FrameHandle>(256);
    Usage begin_{};
};

/// The end of all chains: the client's callback.
class Client {
public:
    explicit Client(std::size_t total) : total_(total), latencies_(total) { }

    void receive(const Frame& frame)
    {
        const auto latency = Clock::now() - frame.stamp;
        const std::size_t index = received_.fetch_add(1, std::memory_order_acq_rel);
        latencies_[index] = latency;
        if (onFrame != nullptr)
            (*onFrame)();
        else
            credits.release();
        if (index + 1 == total_)
            received_.notify_all();
    }

    void awaitAll()
    {
        for (std::size_t seen = received_; seen < total_; seen = received_)
            received_.wait(seen);
    }

    [[nodiscard]] const std::vector<Clock::duration>& latencies() const { return latencies_; }

    std::counting_semaphore<> credits{0};
    /// Called instead of returning a credit.
    const std::function<void()>* onFrame = nullptr;

private:
    const std::size_t total_;
    std::atomic<std::size_t> received_ = 0;
    std::vector<Clock::duration> latencies_;
};

/// Carries frame handles through chains of three serial queues to the client.
class Handover {
public:
    virtual ~Handover() = default;

    /// From an external thread.
    virtual void send(std::size_t chain, FrameHandle frame) = 0;

    /// Lets a device of the system feed chain 0, one frame a period.
    virtual void runDevice(Feed&, Clock::duration) { }
    /// The same with a timer as the device.
    virtual void runTimer(Feed&, Clock::duration) { }
};

using MakeHandover = std::unique_ptr<Handover> (*)(std::size_t chains, Client& client);

[[nodiscard]] std::unique_ptr<Handover> makeEngineHandover(std::size_t chains, Client& client);
/// A thread for each queue, with mutex and condition variable.
[[nodiscard]] std::unique_ptr<Handover> makeThreadHandover(std::size_t chains, Client& client);
/// Without a chain: one thread wakes another, which is the client. The lower bound for any design that wakes a thread.
[[nodiscard]] std::unique_ptr<Handover> makeWakeHandover(std::size_t chains, Client& client);
[[nodiscard]] std::unique_ptr<Handover> makeAsioPostHandover(std::size_t chains, Client& client);
[[nodiscard]] std::unique_ptr<Handover> makeAsioDeferHandover(std::size_t chains, Client& client);

} // namespace tamsel::benchmarks
