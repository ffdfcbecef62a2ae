#pragma once

#include <engine/dispatch/EventSource.h>
#include <engine/motion/MotionDriver.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Clock.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace tamsel::engine {

/// One stream of motion samples: reads its sensor at start + k·interval, k ≥ 1, and posts the reading. A late stream
/// skips missed ticks. Thread-safe.
template <typename Sample>
class MotionStream final : public std::enable_shared_from_this<MotionStream<Sample>> {
    struct Private { };

public:
    using Reading = MotionReading<Sample>;
    /// Reads the sensor at a time.
    using Read = std::function<std::optional<Reading>(std::chrono::nanoseconds)>;
    /// Keeps the sensor in use at an interval until the result is released.
    using Use = std::function<std::shared_ptr<void>(std::chrono::nanoseconds)>;

    /// Not active yet.
    [[nodiscard]] static std::shared_ptr<MotionStream> create(
        EventSources& sources, platform::Clock& clock, Read read, Use use)
    {
        auto stream = std::make_shared<MotionStream>(Private{}, clock, std::move(read), std::move(use));
        stream->timer_ = sources.makeTimer([weakSelf = std::weak_ptr(stream)] {
            if (const std::shared_ptr<MotionStream> self = weakSelf.lock())
                self->tick();
        });
        return stream;
    }

    MotionStream(Private, platform::Clock& clock, Read read, Use use)
        : clock_(clock),
          read_(std::move(read)),
          use_(std::move(use))
    {
    }

    [[nodiscard]] bool isActive() const
    {
        const MutexLock lock(guard_);
        return isActive_;
    }

    /// In seconds, limited to `shortestInterval` and `longestInterval`. A running stream counts from its latest tick.
    void setInterval(double interval);

    /// Does nothing when the stream is active already.
    void start(std::shared_ptr<platform::DispatchQueue> queue, platform::CMHandler<Sample> handler);
    /// Posted readings are still delivered.
    void stop();

    /// Posts a reading to the queue and handler of the last start, whether or not the stream is active.
    void deliver(const Reading& reading);

private:
    static constexpr double shortestInterval = 1e-4;
    static constexpr double longestInterval = 1e8;

    void tick();
    [[nodiscard]] std::chrono::nanoseconds tickTime(std::uint64_t number) const TAMSEL_REQUIRES(guard_);

    platform::Clock& clock_;
    const Read read_;
    const Use use_;
    std::unique_ptr<EventSource> timer_; ///< fixed after creation

    mutable Mutex guard_;
    bool isActive_ TAMSEL_GUARDED_BY(guard_) = false;
    double interval_ TAMSEL_GUARDED_BY(guard_) = 0.01; ///< seconds
    std::shared_ptr<void> sensorUse_ TAMSEL_GUARDED_BY(guard_); ///< while active
    std::uint64_t starts_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::chrono::nanoseconds origin_ TAMSEL_GUARDED_BY(guard_){}; ///< ticks are counted from here
    std::uint64_t next_ TAMSEL_GUARDED_BY(guard_) = 1; ///< the tick that is due next
    std::shared_ptr<platform::DispatchQueue> queue_ TAMSEL_GUARDED_BY(guard_);
    /// Shared with posted items.
    std::shared_ptr<const platform::CMHandler<Sample>> handler_ TAMSEL_GUARDED_BY(guard_);
};

extern template class MotionStream<platform::CMGyroData>;
extern template class MotionStream<platform::CMDeviceMotion>;

} // namespace tamsel::engine
