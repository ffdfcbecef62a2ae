#include <handover/Handover.h>

#include <engine/dispatch/ThreadedDispatch.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <sys/timerfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tamsel::benchmarks {

namespace {

class EngineHandover final : public Handover {
public:
    EngineHandover(std::size_t chains, Client& client) : client_(client)
    {
        for (std::size_t count = 0; count < chains; ++count)
            chains_.push_back({dispatch_.makeSerialQueue("video"), dispatch_.makeSerialQueue("session"),
                dispatch_.makeSerialQueue("response")});
    }

    void send(std::size_t chain, FrameHandle frame) override
    {
        chains_[chain][0]->handOver([this, chain, frame = std::move(frame)]() mutable {
            chains_[chain][1]->handOver([this, chain, frame = std::move(frame)]() mutable {
                chains_[chain][2]->handOver([this, frame = std::move(frame)] { client_.receive(*frame); });
            });
        });
    }

    ~EngineHandover() override
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }

    void runDevice(Feed& feed, Clock::duration period) override
    {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(period);
        const timespec time{.tv_sec = seconds.count(), .tv_nsec = (period - seconds).count()};
        const itimerspec value{.it_interval = time, .it_value = time};
        descriptor_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        timerfd_settime(descriptor_, 0, &value, nullptr);
        device_ = dispatch_.makeDescriptor(descriptor_, [this, &feed] {
            // As in a driver: take the event, let another worker wait for the next one, make the frame, and deliver it
            // as the last act.
            std::uint64_t ticks = 0;
            [[maybe_unused]] const ssize_t consumed = ::read(descriptor_, &ticks, sizeof ticks);
            if (!feed.isLast())
                device_->armReadable();
            send(0, feed.take());
        });
        device_->armReadable();
    }

    void runTimer(Feed& feed, Clock::duration period) override
    {
        due_ = Clock::now() + period;
        device_ = dispatch_.makeTimer([this, &feed, period] {
            if (!feed.isLast()) {
                due_ += period;
                device_->armAt(due_.time_since_epoch());
            }
            send(0, feed.take());
        });
        device_->armAt(due_.time_since_epoch());
    }

private:
    Client& client_;
    std::unique_ptr<engine::EventSource> device_;
    int descriptor_ = -1;
    Clock::time_point due_;
    std::vector<std::array<std::shared_ptr<platform::DispatchQueue>, 3>> chains_;
    engine::ThreadedDispatch dispatch_;
};

/// A queue with a thread of its own, in the usual form.
class ThreadQueue {
public:
    explicit ThreadQueue(std::function<void(FrameHandle)> receive)
        : receive_(std::move(receive)),
          thread_([this] { run(); })
    {
    }

    ~ThreadQueue() { post(nullptr); }

    void post(FrameHandle frame)
    {
        {
            const std::lock_guard lock(guard_);
            waiting_.push_back(std::move(frame));
        }
        wakes_.notify_one();
    }

private:
    void run()
    {
        for (;;) {
            std::unique_lock lock(guard_);
            wakes_.wait(lock, [this] { return !waiting_.empty(); });
            FrameHandle frame = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            if (!frame)
                return;
            receive_(std::move(frame));
        }
    }

    const std::function<void(FrameHandle)> receive_;
    std::mutex guard_;
    std::condition_variable wakes_;
    std::deque<FrameHandle> waiting_;
    std::jthread thread_;
};

class ThreadHandover final : public Handover {
public:
    ThreadHandover(std::size_t chains, Client& client) : chains_(chains)
    {
        for (auto& [first, second, third] : chains_) {
            third = std::make_unique<ThreadQueue>([&client](FrameHandle frame) { client.receive(*frame); });
            second = std::make_unique<ThreadQueue>(
                [&next = *third](FrameHandle frame) { next.post(std::move(frame)); });
            first = std::make_unique<ThreadQueue>(
                [&next = *second](FrameHandle frame) { next.post(std::move(frame)); });
        }
    }

    ~ThreadHandover() override
    {
        for (auto& chain : chains_) {
            for (std::unique_ptr<ThreadQueue>& queue : chain)
                queue.reset();
        }
    }

    void send(std::size_t chain, FrameHandle frame) override { chains_[chain][0]->post(std::move(frame)); }

private:
    std::vector<std::array<std::unique_ptr<ThreadQueue>, 3>> chains_;
};

class WakeHandover final : public Handover {
public:
    WakeHandover(std::size_t, Client& client) : thread_([this, &client] { run(client); }) { }

    ~WakeHandover() override { send(0, nullptr); }

    void send(std::size_t, FrameHandle frame) override
    {
        const std::uint32_t sent = sent_.load(std::memory_order_relaxed);
        frames_[sent % frames_.size()] = std::move(frame);
        sent_.store(sent + 1, std::memory_order_release);
        sent_.notify_one();
    }

private:
    void run(Client& client)
    {
        for (std::uint32_t received = 0;; ++received) {
            sent_.wait(received, std::memory_order_acquire);
            const FrameHandle frame = std::move(frames_[received % frames_.size()]);
            if (!frame)
                return;
            client.receive(*frame);
        }
    }

    std::array<FrameHandle, 64> frames_;
    std::atomic<std::uint32_t> sent_ = 0;
    std::jthread thread_;
};

} // namespace

std::unique_ptr<Handover> makeEngineHandover(std::size_t chains, Client& client)
{
    return std::make_unique<EngineHandover>(chains, client);
}

std::unique_ptr<Handover> makeThreadHandover(std::size_t chains, Client& client)
{
    return std::make_unique<ThreadHandover>(chains, client);
}

std::unique_ptr<Handover> makeWakeHandover(std::size_t chains, Client& client)
{
    return std::make_unique<WakeHandover>(chains, client);
}

} // namespace tamsel::benchmarks
