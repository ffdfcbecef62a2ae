#include <engine/motion/MotionStream.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tamsel::engine {

using std::chrono::nanoseconds;

namespace {

nanoseconds fromSeconds(double seconds)
{
    return nanoseconds(std::llround(seconds * 1e9));
}

} // namespace

template <typename Sample> nanoseconds MotionStream<Sample>::tickTime(std::uint64_t number) const
{
    return origin_ + fromSeconds(static_cast<double>(number) * interval_);
}

template <typename Sample> void MotionStream<Sample>::setInterval(double interval)
{
    // NaN counts as the shortest interval.
    const double wanted
        = interval > shortestInterval ? std::min(interval, longestInterval) : shortestInterval;
    const MutexLock lock(guard_);
    if (wanted == interval_)
        return;
    if (isActive_) {
        const nanoseconds latest = tickTime(next_ - 1);
        const nanoseconds step = fromSeconds(wanted);
        origin_ = std::max(latest + step, clock_.monotonic()) - step;
        next_ = 1;
    }
    interval_ = wanted;
    if (isActive_) {
        sensorUse_ = use_(fromSeconds(interval_));
        timer_->armAt(tickTime(next_));
    }
}

template <typename Sample>
void MotionStream<Sample>::start(
    std::shared_ptr<platform::DispatchQueue> queue, platform::CMHandler<Sample> handler)
{
    auto shared = std::make_shared<const platform::CMHandler<Sample>>(std::move(handler));
    const MutexLock lock(guard_);
    if (isActive_)
        return;
    isActive_ = true;
    ++starts_;
    queue_.swap(queue); // the earlier ones are released after the lock
    handler_.swap(shared);
    origin_ = clock_.monotonic();
    next_ = 1;
    sensorUse_ = use_(fromSeconds(interval_));
    timer_->armAt(tickTime(next_));
}

template <typename Sample> void MotionStream<Sample>::stop()
{
    const MutexLock lock(guard_);
    isActive_ = false;
    sensorUse_ = nullptr;
    timer_->cancel();
}

template <typename Sample> void MotionStream<Sample>::tick()
{
    nanoseconds due{};
    std::uint64_t start = 0;
    {
        const MutexLock lock(guard_);
        const nanoseconds now = clock_.monotonic();
        due = tickTime(next_);
        if (!isActive_ || now < due)
            return; // of an earlier start or interval; the timer is armed for the current one
        start = starts_;
        next_ = std::max(next_ + 1,
            static_cast<std::uint64_t>(std::chrono::duration<double>(now - origin_).count() / interval_) + 1);
        timer_->armAt(tickTime(next_));
    }
    const std::optional<Reading> reading = read_(due);
    {
        const MutexLock lock(guard_);
        if (!isActive_ || starts_ != start)
            return;
    }
    if (reading)
        deliver(*reading);
}

template <typename Sample> void MotionStream<Sample>::deliver(const Reading& reading)
{
    std::shared_ptr<platform::DispatchQueue> queue;
    std::shared_ptr<const platform::CMHandler<Sample>> handler;
    {
        const MutexLock lock(guard_);
        queue = queue_;
        handler = handler_;
    }
    if (!handler)
        return;
    std::shared_ptr<const platform::Error> error
        = reading.error ? std::make_shared<const platform::Error>(*reading.error) : nullptr;
    queue->async([handler, sample = reading.sample, error = std::move(error)] { (*handler)(sample, error); });
}

template class MotionStream<platform::CMGyroData>;
template class MotionStream<platform::CMDeviceMotion>;

} // namespace tamsel::engine
