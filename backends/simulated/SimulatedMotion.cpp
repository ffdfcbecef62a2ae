#include <simulated/SimulatedMotion.h>

#include <algorithm>
#include <utility>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

SimulatedMotion::SimulatedMotion(
    MotionScript script, std::shared_ptr<const formats::MotionLog> log, const platform::Clock& clock)
    : script_(std::move(script)),
      clock_(clock)
{
    if (log)
        log_.emplace(std::move(log));
}

void SimulatedMotion::move(nanoseconds duration, double rate)
{
    const nanoseconds now = clock_.monotonic();
    const nanoseconds begin = movements_.empty() ? now : std::max(now, movements_.back().end);
    movements_.push_back({begin + duration, rate});
}

void SimulatedMotion::streamStarts(nanoseconds time)
{
    if (log_)
        log_->streamStarts(time);
}

std::optional<engine::GyroReading> SimulatedMotion::readGyro(nanoseconds time)
{
    if (log_)
        return log_->readGyro(time);
    while (!movements_.empty() && movements_.front().end <= time)
        movements_.pop_front();
    if (movements_.empty())
        return script_.gyro(time);
    direction_ = -direction_;
    return engine::GyroReading{
        .sample = platform::CMGyroData{.rotationRate = {direction_ * movements_.front().rate, 0, 0}}};
}

std::optional<engine::DeviceMotionReading> SimulatedMotion::readDeviceMotion(nanoseconds time)
{
    if (log_)
        return log_->readDeviceMotion(time);
    if (!pitch_)
        return script_.deviceMotion(time);
    return engine::DeviceMotionReading{.sample = platform::CMDeviceMotion{.attitude = {.pitch = *pitch_}}};
}

} // namespace tamsel::simulated
